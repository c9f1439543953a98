#include "alerts/sessions/LockHolder.h"

#include "platform/ProcessWide.h"
#include "platform/Thread.h"

namespace Vok {

namespace {

// One list for all modules of the process: a thread that holds one module's lock must not wait for another's
// either.
struct Marks {
    Platform::Mutex mutex;  // leaf
    Platform::ThreadList threads GUARDED_BY(mutex);
};
constinit Platform::ProcessWide<Marks> marks;

}  // namespace

LockHolder::LockHolder() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    all.threads.enter();
}

LockHolder::~LockHolder() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    all.threads.leave();
}

bool LockHolder::isCurrentThread() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    return all.threads.hasCurrent();
}

}  // namespace Vok
