// One subscription of a handle.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include <brevant/bus.h>

#include "host/bus/common/RunningCalls.h"
#include "host/bus/common/Task.h"
#include "text/NamePattern.h"

namespace MessageBus {

struct Backlog;
class Outbox;

struct Subscription {
    // Constant once it is in the index.
    uint64_t handle = 0;
    uint32_t id = 0;
    void* context = nullptr;
    BrevantMessageFunction function = nullptr;
    std::u16string text;                                 // the name, or the pattern
    std::shared_ptr<const Ferrow::NamePattern> pattern;  // none for a plain subscription

    CallSlot::Call call(uint32_t position) const noexcept {
        return {handle, identityOf(function), this, position};
    }

    std::atomic<bool> active{true};  // false before the handle's release looks at the running calls
    std::atomic<size_t> parkedCount{0};

    // The index's.
    size_t place = 0;

    // The backlogs'.
    std::unordered_map<const Outbox*, std::shared_ptr<Backlog>> backlogs;
    TaskQueue parked;  // backlogs that wait for another call to end
    bool boundReported = false;
};

}  // namespace MessageBus
