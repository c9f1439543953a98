// Mutex, condition variable and run-once flag. Own wrappers, because the runtime's own leak handles on
// Windows when a library is loaded and freed again and again.
#pragma once

#include <atomic>
#include <chrono>

#include "NativeSync.h"
#include "platform/ThreadAnnotations.h"

namespace Platform {

// Not recursive. Usable as a global without dynamic initialisation.
class CAPABILITY("mutex") Mutex {
public:
    constexpr Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { native_.lock(); }
    bool tryLock() TRY_ACQUIRE(true) { return native_.tryLock(); }
    void unlock() RELEASE() { native_.unlock(); }

private:
    friend class ConditionVariable;
    NativeMutex native_;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() {
        if (held_)
            mutex_.unlock();
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void unlock() RELEASE() {
        mutex_.unlock();
        held_ = false;
    }
    void lock() ACQUIRE() {
        mutex_.lock();
        held_ = true;
    }

private:
    friend class ConditionVariable;
    Mutex& mutex_;
    bool held_ = true;
};

// Waits may end without cause; callers test their condition in a loop.
class ConditionVariable {
public:
    ConditionVariable() noexcept = default;
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void wait(MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS { native_.wait(lock.mutex_.native_); }
    // False when the time ended the wait. A duration that is not above zero returns false at once.
    bool waitFor(MutexLock& lock, std::chrono::nanoseconds duration) NO_THREAD_SAFETY_ANALYSIS {
        return native_.waitFor(lock.mutex_.native_, duration);
    }
    void notifyOne() { native_.notifyOne(); }
    void notifyAll() { native_.notifyAll(); }

private:
    NativeConditionVariable native_;
};

// Runs a function once per process. An exception leaves it undone for the next caller.
class Once {
public:
    constexpr Once() noexcept = default;

    template <class Function>
    void run(Function&& function) {
        if (done_.load(std::memory_order_acquire))
            return;
        MutexLock lock(mutex_);
        if (done_.load(std::memory_order_relaxed))
            return;
        function();
        done_.store(true, std::memory_order_release);
    }

private:
    std::atomic<bool> done_{false};
    Mutex mutex_;
};

}  // namespace Platform
