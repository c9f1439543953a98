// Wakes one sleeper and loses no call: calls are counted.
#pragma once

#include <cstdint>

#include "platform/Sync.h"

namespace Vok {

// Shared by the sleeper and by those who wake it, who may call when the sleeper is long gone. The sleeper
// notes the count, looks for work, and sleeps only while the count has not moved.
class WakeUp {
public:
    uint64_t count() const {
        Platform::MutexLock lock(mutex_);
        return count_;
    }
    void wake() {
        {
            Platform::MutexLock lock(mutex_);
            ++count_;
        }
        moved_.notifyAll();
    }
    // Returns once the count differs from the one given.
    void waitWhile(uint64_t count) {
        Platform::MutexLock lock(mutex_);
        while (count_ == count)
            moved_.wait(lock);
    }

private:
    mutable Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable moved_;
    uint64_t count_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vok
