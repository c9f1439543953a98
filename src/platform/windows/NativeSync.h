#pragma once

#include <chrono>

namespace Platform {

// Pointer-sized like SRWLOCK and CONDITION_VARIABLE, whose initial value is a null pointer; kept free of the
// system's headers.
class NativeMutex {
public:
    void lock();
    bool tryLock();
    void unlock();

private:
    friend class NativeConditionVariable;
    void* lock_ = nullptr;
};

class NativeConditionVariable {
public:
    void wait(NativeMutex& mutex);
    bool waitFor(NativeMutex& mutex, std::chrono::nanoseconds duration);
    void notifyOne();
    void notifyAll();

private:
    void* condition_ = nullptr;
};

}  // namespace Platform
