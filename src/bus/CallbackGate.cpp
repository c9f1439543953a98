#include "bus/CallbackGate.h"

#include <algorithm>

#include "platform/Thread.h"

namespace Tavix {

void CallbackGate::close() {
    const uint32_t self = Platform::currentThreadId();
    Platform::MutexLock lock(mutex_);
    closed_ = true;
    while (std::ranges::any_of(inside_, [self](uint32_t thread) { return thread != self; }))
        empty_.wait(lock);
}

bool CallbackGate::enter() {
    const uint32_t self = Platform::currentThreadId();
    Platform::MutexLock lock(mutex_);
    if (closed_)
        return false;
    inside_.push_back(self);
    return true;
}

void CallbackGate::leave() {
    const uint32_t self = Platform::currentThreadId();
    Platform::MutexLock lock(mutex_);
    inside_.erase(std::ranges::find(inside_, self));
    if (closed_)
        empty_.notifyAll();
}

}  // namespace Tavix
