#include "bus/CallbackGate.h"

namespace Tavix {

void CallbackGate::close() {
    Platform::MutexLock lock(mutex_);
    closed_ = true;
    while (inside_.hasOther())
        empty_.wait(lock);
}

bool CallbackGate::enter(Platform::ThreadList::Mark& mark) {
    Platform::MutexLock lock(mutex_);
    if (closed_)
        return false;
    inside_.enter(mark);
    return true;
}

void CallbackGate::leave(Platform::ThreadList::Mark& mark) {
    Platform::MutexLock lock(mutex_);
    inside_.leave(mark);
    if (closed_)
        empty_.notifyAll();
}

}  // namespace Tavix
