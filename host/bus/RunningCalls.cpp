#include "host/bus/RunningCalls.h"

#include <algorithm>

namespace EmbeddedBus {

void RunningCalls::begin(Call& call, uint64_t handle, Function function) {
    call.handle_ = handle;
    call.function_ = function;
    Platform::MutexLock lock(mutex_);
    calls_.add(call);
}

void RunningCalls::end(Call& call) {
    Platform::MutexLock lock(mutex_);
    calls_.remove(call);
    if (waiting_ != 0)
        ended_.notifyAll();
}

void RunningCalls::owe(uint64_t handle) {
    Platform::MutexLock lock(mutex_);
    calls_.forEach([&](Call& call) { call.owed_ |= call.handle_ == handle; });
}

void RunningCalls::waitFor(uint64_t handle, const std::vector<Function>& functions) {
    const auto mustEnd = [&](const Call& call) {
        return call.handle_ == handle ||
               (call.owed_ && std::ranges::find(functions, call.function_) != functions.end());
    };
    Platform::MutexLock lock(mutex_);
    ++waiting_;
    while (calls_.anyOf(mustEnd))
        ended_.wait(lock);
    --waiting_;
}

}  // namespace EmbeddedBus
