#include "alerts/dispatcher/LockHolder.h"

#include "platform/Sync.h"

namespace Vok {

namespace {

// One list for all modules of the process: a thread that holds one module's lock must not wait for another's
// either.
constinit Platform::Mutex mutex;  // leaf
constinit Platform::ThreadList holders GUARDED_BY(mutex);

}  // namespace

LockHolder::LockHolder() noexcept {
    Platform::MutexLock lock(mutex);
    holders.enter(mark_);
}

LockHolder::~LockHolder() {
    Platform::MutexLock lock(mutex);
    holders.leave(mark_);
}

bool LockHolder::isCurrentThread() noexcept {
    Platform::MutexLock lock(mutex);
    return holders.hasCurrent();
}

}  // namespace Vok
