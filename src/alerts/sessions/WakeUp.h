// Wakes one sleeper and loses no call: calls are counted.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/Clock.h"
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
            urgent_ = true;
        }
        moved_.notifyAll();
    }
    // For what a sleeper may look at together with more of its kind.
    void wakeSoon() {
        bool first;
        {
            Platform::MutexLock lock(mutex_);
            first = count_++ == awaited_;
        }
        if (first)
            moved_.notifyAll();
    }
    // Returns once the count differs from the one given; when only wakeSoon was called, patience later.
    void waitWhile(uint64_t count, std::chrono::nanoseconds patience) {
        const Platform::Clock& clock = Platform::Clock::steady();
        Platform::MutexLock lock(mutex_);
        awaited_ = count;
        urgent_ = urgent_ && count_ != count;
        while (count_ == count)
            moved_.wait(lock);
        const auto until = Platform::deadlineAfter(clock.now(), patience);
        while (patience.count() > 0 && !urgent_ && clock.waitUntil(moved_, lock, until))
            ;
        urgent_ = false;
    }

private:
    mutable Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable moved_;
    uint64_t count_ GUARDED_BY(mutex_) = 0;
    uint64_t awaited_ GUARDED_BY(mutex_) = 0;  // the sleeper's note
    bool urgent_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vok
