// The calls of callbacks that are under way.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/StackList.h"
#include "platform/Sync.h"

namespace EmbeddedBus {

// Any thread.
class RunningCalls {
public:
    // A function of one of the two callback types, to be compared.
    using Function = uintptr_t;
    template <class Callback>
    static Function identityOf(Callback* function) noexcept {
        return reinterpret_cast<uintptr_t>(function);
    }

    // From before a callback is entered until after it has returned.
    class Call : public Platform::StackList<Call>::Link {
        friend class RunningCalls;
        uint64_t handle_ = 0;
        Function function_ = 0;
        bool owed_ = false;  // its handle was released on a bus thread, which has not waited for it
    };

    void begin(Call& call, uint64_t handle, Function function);
    void end(Call& call);
    // The handle is released by somebody who cannot wait for its calls.
    void owe(uint64_t handle);
    // Until no call of the handle runs, nor one to these functions that is owed.
    void waitFor(uint64_t handle, const std::vector<Function>& functions);

private:
    Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable ended_;
    Platform::StackList<Call> calls_ GUARDED_BY(mutex_);
    size_t waiting_ GUARDED_BY(mutex_) = 0;
};

}  // namespace EmbeddedBus
