#include "bus/BusCallbacks.h"

#include <atomic>
#include <new>
#include <string>
#include <type_traits>

#include "bus/RunningCallbacks.h"
#include "text/TextLength.h"

namespace Tavix {
namespace {

// A bus that other users keep alive may call until the process has ended: nothing that a callback touches
// before it has found its context has a destructor.
constinit ContextTable<const MessageCallback> messageTable;
constinit ContextTable<ReplyReceiver> replyTable;
static_assert(std::is_trivially_destructible_v<ContextTable<ReplyReceiver>>);
constinit std::atomic<uintptr_t> lastContext{0};

std::u16string textOf(const char16_t* text) {
    return std::u16string(Ferrow::viewOf(text));
}

std::shared_ptr<Message> receivedMessage(const MessageHeader* header, const char16_t* name,
                                         const char16_t* sender, const char16_t* payload) {
    auto message = makeMessage(textOf(name), textOf(sender), textOf(payload));
    if (!message)
        throw std::bad_alloc();
    copyHeader(*message, header);
    return message;
}

// Null when memory is short: the request ends at once, without its answer.
std::shared_ptr<Message> receivedReply(const MessageHeader* header, const char16_t* name,
                                       const char16_t* sender, const char16_t* payload) noexcept {
    try {
        return receivedMessage(header, name, sender, payload);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

BusContext newBusContext() noexcept {
    return reinterpret_cast<BusContext>(lastContext.fetch_add(1, std::memory_order_relaxed) + 1);
}

ContextTable<const MessageCallback>& messageContexts() {
    return messageTable;
}

ContextTable<ReplyReceiver>& replyContexts() {
    return replyTable;
}

uint32_t brevantMessageFunction(void* context, const MessageHeader* header, const char16_t* name,
                                const char16_t* sender, const char16_t* payload) noexcept {
    const RunningCallback running;
    try {
        const auto callback = messageContexts().find(context);
        if (!callback)
            return MODULE_STATUS_SUCCESS;
        return (*callback)(receivedMessage(header, name, sender, payload));
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

uint32_t brevantReplyFunction(void* context, uint64_t replyIndex, const MessageHeader* header,
                              const char16_t* name, const char16_t* sender, const char16_t* payload,
                              uint32_t replyStatus) noexcept {
    if (!context)
        return MODULE_STATUS_INVALID_PARAMETER;
    const RunningCallback running;
    try {
        const auto receiver = replyContexts().find(context);
        if (!receiver)
            return MODULE_STATUS_NOT_FOUND;
        return receiver->replyCallback(
            replyIndex,
            replyStatus == MODULE_STATUS_SUCCESS ? receivedReply(header, name, sender, payload) : nullptr,
            replyStatus);
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

}  // namespace Tavix
