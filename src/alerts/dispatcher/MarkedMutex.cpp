#include "alerts/dispatcher/MarkedMutex.h"

namespace Vok {

namespace {

// One list for all modules of the process: a thread that holds one module's lock must not wait for another's
// either.
constinit Platform::Mutex holdersMutex;  // leaf
constinit Platform::ThreadList holders GUARDED_BY(holdersMutex);

void enter(Platform::ThreadList::Mark& mark) {
    Platform::MutexLock lock(holdersMutex);
    holders.enter(mark);
}

void leave(Platform::ThreadList::Mark& mark) {
    Platform::MutexLock lock(holdersMutex);
    holders.leave(mark);
}

}  // namespace

bool MarkedMutex::isHeldByCurrentThread() noexcept {
    Platform::MutexLock lock(holdersMutex);
    return holders.hasCurrent();
}

MarkedLock::MarkedLock(MarkedMutex& mutex) : lock_(mutex.mutex_) {
    enter(mark_);
}

MarkedLock::~MarkedLock() {
    if (held_)
        leave(mark_);
}

void MarkedLock::unlock() {
    leave(mark_);
    held_ = false;
    lock_.unlock();
}

void MarkedLock::lock() {
    lock_.lock();
    held_ = true;
    enter(mark_);
}

}  // namespace Vok
