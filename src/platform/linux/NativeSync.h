#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Platform {

class NativeMutex {
public:
    void lock() { mutex_.lock(); }
    bool tryLock() { return mutex_.try_lock(); }
    void unlock() { mutex_.unlock(); }

private:
    friend class NativeConditionVariable;
    std::mutex mutex_;
};

class NativeConditionVariable {
public:
    void wait(NativeMutex& mutex) {
        std::unique_lock lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        lock.release();
    }
    bool waitFor(NativeMutex& mutex, std::chrono::nanoseconds duration) {
        // Longer waits would overflow the clock's range; waking after a century harms nobody.
        constexpr auto longest = std::chrono::hours(24 * 365 * 100);
        std::unique_lock lock(mutex.mutex_, std::adopt_lock);
        const bool notified = condition_.wait_for(lock, std::min<std::chrono::nanoseconds>(
                                                            duration, longest)) == std::cv_status::no_timeout;
        lock.release();
        return notified;
    }
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

private:
    std::condition_variable condition_;
};

}  // namespace Platform
