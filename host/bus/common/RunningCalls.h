// The calls of callbacks that are under way.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/Sync.h"

namespace MessageBus {

// A function of one of the two callback types, to be compared.
using CallbackIdentity = uintptr_t;
template <class Callback>
CallbackIdentity identityOf(Callback* function) noexcept {
    return reinterpret_cast<CallbackIdentity>(function);
}

// Where one worker says which call it is making, from before the callback is entered until after it has
// returned. The worker writes it without a lock; others read it and leave marks, which the worker finds when
// it ends the call.
//
//  - Whoever ends a subscription or a request first makes that known (Subscription::active, the lock of the
//    requests) and looks at the slots then. A worker first announces the call and looks whether it is still
//    wanted then. So one of the two sees the other: all of it is sequentially consistent.
//  - A mark stays with the call that it was left for: the number of the call is part of what is exchanged.
class CallSlot {
public:
    using State = uint64_t;
    enum Mark : State {
        waitedFor = 1,  // somebody sleeps until it ends: see RunningCalls::ended
        owed = 2,       // its handle was released on a bus thread, which has not waited for it
        taken = 4,      // what comes after it belongs to another worker now
    };
    struct Call {
        uint64_t handle;
        CallbackIdentity function;
        const void* target;  // to be counted
        uint32_t position = 0;
    };

    // For the worker: announces a call, which ends the one before. Returns that one's marks.
    State begin(const Call& call) noexcept {
        handle_.store(call.handle, std::memory_order_release);
        function_.store(call.function, std::memory_order_release);
        target_.store(call.target, std::memory_order_release);
        ++number_;
        return state_.exchange((number_ << numberShift) | (State{call.position} << positionShift) | busy) &
               marks;
    }
    State end() noexcept { return state_.exchange(0) & marks; }

    // For everybody. 0 between calls; otherwise different for each call, and with each mark.
    State state() const noexcept { return state_.load(); }
    static uint32_t positionOf(State state) noexcept {
        return static_cast<uint32_t>((state & ~marks) >> positionShift);
    }
    static bool sameCall(State left, State right) noexcept { return ((left ^ right) & ~marks) == 0; }
    // Marks the call that was seen. False when it has ended.
    bool mark(State seen, Mark mark) noexcept {
        State current = seen;
        while (!state_.compare_exchange_weak(current, current | mark))
            if (current == 0 || !sameCall(current, seen))
                return false;
        return true;
    }
    // What belongs to the call that state() has told of, or to the next: then that one has returned.
    uint64_t handle() const noexcept { return handle_.load(std::memory_order_acquire); }
    CallbackIdentity function() const noexcept { return function_.load(std::memory_order_acquire); }
    const void* target() const noexcept { return target_.load(std::memory_order_acquire); }

private:
    static constexpr State busy = 8;
    static constexpr State marks = 7;
    static constexpr int positionShift = 4;
    static constexpr int numberShift = 36;

    State number_ = 0;  // the worker's
    std::atomic<State> state_{0};
    std::atomic<uint64_t> handle_{0};
    std::atomic<CallbackIdentity> function_{0};
    std::atomic<const void*> target_{nullptr};
};

// The slots of all workers. Any thread.
class RunningCalls {
public:
    void add(CallSlot& slot);
    void remove(CallSlot& slot) noexcept;

    // For a worker that has ended a call with these marks.
    void ended(CallSlot::State marks) {
        if (marks & CallSlot::waitedFor)
            wakeWaiting();
    }
    // The handle is released by somebody who cannot wait for its calls.
    void owe(uint64_t handle);
    // Until no call of the handle runs, nor one to these functions that is owed.
    void waitFor(uint64_t handle, const std::vector<CallbackIdentity>& functions);

    // How many calls there can be at most.
    size_t slotCount() const noexcept { return slotCount_.load(std::memory_order_relaxed); }
    size_t count(const void* target);

private:
    void wakeWaiting();

    std::atomic<size_t> slotCount_{0};
    Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable ended_;
    std::vector<CallSlot*> slots_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
