// Turns callbacks away once their owner is going, and lets the owner wait for those that are running.
#pragma once

#include "platform/Sync.h"

namespace Host {

class HandlerGate {
public:
    // False when the gate is closed; otherwise leave() follows.
    bool enter() {
        Platform::MutexLock lock(mutex_);
        if (closed_)
            return false;
        ++inside_;
        return true;
    }
    void leave() {
        Platform::MutexLock lock(mutex_);
        --inside_;
        left_.notifyAll();
    }
    // Waits until nobody is inside. Not to be called from inside.
    void close() {
        Platform::MutexLock lock(mutex_);
        closed_ = true;
        while (inside_ != 0)
            left_.wait(lock);
    }

private:
    // Guards both members below. Nothing else is taken under it.
    Platform::Mutex mutex_;
    Platform::ConditionVariable left_;
    bool closed_ GUARDED_BY(mutex_) = false;
    unsigned inside_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Host
