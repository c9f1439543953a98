#include "platform/Sync.h"

#include <windows.h>

namespace Platform {
namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

SRWLOCK* native(void*& lock) {
    return reinterpret_cast<SRWLOCK*>(&lock);
}
CONDITION_VARIABLE* nativeCondition(void*& condition) {
    return reinterpret_cast<CONDITION_VARIABLE*>(&condition);
}

}  // namespace

void NativeMutex::lock() {
    AcquireSRWLockExclusive(native(lock_));
}
bool NativeMutex::tryLock() {
    return TryAcquireSRWLockExclusive(native(lock_)) != 0;
}
void NativeMutex::unlock() {
    ReleaseSRWLockExclusive(native(lock_));
}

void NativeConditionVariable::wait(NativeMutex& mutex) {
    SleepConditionVariableSRW(nativeCondition(condition_), native(mutex.lock_), INFINITE, 0);
}

bool NativeConditionVariable::waitFor(NativeMutex& mutex, std::chrono::nanoseconds duration) {
    if (duration <= std::chrono::nanoseconds::zero())
        return false;
    // The longest wait that the system takes; ending it early counts as waking without cause.
    constexpr auto longest = std::chrono::milliseconds(INFINITE - 1);
    const bool cut = duration > longest;
    const auto milliseconds = cut ? longest : std::chrono::ceil<std::chrono::milliseconds>(duration);
    return SleepConditionVariableSRW(nativeCondition(condition_), native(mutex.lock_),
                                     static_cast<DWORD>(milliseconds.count()), 0) != 0 ||
           cut;
}

void NativeConditionVariable::notifyOne() {
    WakeConditionVariable(nativeCondition(condition_));
}
void NativeConditionVariable::notifyAll() {
    WakeAllConditionVariable(nativeCondition(condition_));
}

}  // namespace Platform
