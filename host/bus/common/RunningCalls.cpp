#include "host/bus/common/RunningCalls.h"

#include <algorithm>

namespace MessageBus {

void RunningCalls::add(CallSlot& slot) {
    Platform::MutexLock lock(mutex_);
    slots_.push_back(&slot);
    slotCount_ = slots_.size();
}

void RunningCalls::remove(CallSlot& slot) noexcept {
    Platform::MutexLock lock(mutex_);
    std::erase(slots_, &slot);
    slotCount_ = slots_.size();
}

void RunningCalls::owe(uint64_t handle) {
    Platform::MutexLock lock(mutex_);
    for (CallSlot* const slot : slots_)
        for (CallSlot::State state = slot->state(); state != 0 && slot->handle() == handle;
             state = slot->state())
            if (slot->mark(state, CallSlot::owed))
                break;
}

void RunningCalls::waitFor(uint64_t handle, const std::vector<CallbackIdentity>& functions) {
    Platform::MutexLock lock(mutex_);
    const auto mustEnd = [&](const CallSlot& slot, CallSlot::State state) {
        return state != 0 && (slot.handle() == handle ||
                              ((state & CallSlot::owed) != 0 &&
                               std::ranges::find(functions, slot.function()) != functions.end()));
    };
    for (;;) {
        bool any = false;
        for (CallSlot* const slot : slots_)
            for (CallSlot::State state = slot->state(); mustEnd(*slot, state); state = slot->state())
                if (slot->mark(state, CallSlot::waitedFor)) {
                    any = true;
                    break;
                }
        if (!any)
            return;
        // The lock is held since the mark: whoever finds it notifies after this waits.
        ended_.wait(lock);
    }
}

size_t RunningCalls::count(const void* target) {
    Platform::MutexLock lock(mutex_);
    return static_cast<size_t>(std::ranges::count_if(
        slots_, [&](const CallSlot* slot) { return slot->state() != 0 && slot->target() == target; }));
}

void RunningCalls::wakeWaiting() {
    Platform::MutexLock lock(mutex_);
    ended_.notifyAll();
}

}  // namespace MessageBus
