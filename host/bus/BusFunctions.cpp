#include "host/bus/BusFunctions.h"

#include <atomic>
#include <new>
#include <system_error>

#include "host/bus/BusChoice.h"
#include "platform/ProcessWide.h"

namespace MessageBus {

namespace {

constinit Platform::ProcessWide<Bus> processBus;
constinit std::atomic<bool> isChosen{false};

// The transport is chosen once, for the first that needs one.
Bus& bus() {
    Bus& chosen = processBus.get(chooseBus);
    isChosen = true;
    return chosen;
}

// Nothing is thrown across the interface.
template <class Function>
uint32_t guarded(Function function) noexcept {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return MODULE_STATUS_NO_MEMORY;
    } catch (const std::system_error&) {
        return MODULE_STATUS_NO_MEMORY;
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

uint32_t acquireHandle(BrevantBusHandle* handle) {
    return guarded([&] { return bus().acquireHandle(handle); });
}

uint32_t releaseHandle(BrevantBusHandle handle) {
    return guarded([&] { return bus().releaseHandle(handle); });
}

uint32_t publish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                 const char16_t* sender, const char16_t* payload) {
    return guarded([&] { return bus().publish(handle, header, name, sender, payload); });
}

uint32_t request(BrevantBusHandle handle, uint64_t replyIndex, void* replyContext,
                 BrevantReplyFunction replyFunction, const MessageHeader* header, const char16_t* name,
                 const char16_t* sender, const char16_t* payload, uint32_t timeoutMilliseconds) {
    const Answer answer{replyIndex, replyContext, replyFunction, timeoutMilliseconds};
    return guarded([&] { return bus().request(handle, answer, header, name, sender, payload); });
}

uint32_t subscribeTo(BrevantBusHandle handle, void* messageContext, BrevantMessageFunction messageFunction,
                     const char16_t* text, bool isPattern) noexcept {
    try {
        return bus().subscribe(handle, messageContext, messageFunction, text, isPattern);
    } catch (...) {
        return 0;  // a malformed pattern, or no memory
    }
}

uint32_t subscribe(BrevantBusHandle handle, void* messageContext, BrevantMessageFunction messageFunction,
                   const char16_t* name) {
    return subscribeTo(handle, messageContext, messageFunction, name, false);
}

uint32_t subscribePattern(BrevantBusHandle handle, void* messageContext,
                          BrevantMessageFunction messageFunction, const char16_t* pattern) {
    return subscribeTo(handle, messageContext, messageFunction, pattern, true);
}

uint32_t unsubscribe(BrevantBusHandle handle, uint32_t subscriptionId) {
    return guarded([&] { return bus().unsubscribe(handle, subscriptionId); });
}

uint32_t releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction replyFunction) {
    return guarded([&] { return bus().releaseReplyFunction(handle, replyFunction); });
}

constexpr BrevantBusFunctions functions{
    acquireHandle, releaseHandle,        publish, request, subscribe, subscribePattern,
    unsubscribe,   releaseReplyFunction, publish, request,
};

}  // namespace

const BrevantBusFunctions& busFunctions() noexcept {
    return functions;
}

void reapBusThreads(bool wait) noexcept {
    if (!isChosen)
        return;
    guarded([&] {
        bus().reap(wait);
        return MODULE_STATUS_SUCCESS;
    });
}

}  // namespace MessageBus
