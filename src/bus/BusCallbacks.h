// What the bus library may call, and what is behind the contexts that it passes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <brevant/bus.h>

#include "bus/ContextTable.h"
#include "bus/MessageBus.h"

namespace Tavix {

// Takes the end of a request: the reply when the status is 0, otherwise an empty message. Its status goes
// back to the bus.
class ReplyReceiver {
public:
    virtual ~ReplyReceiver() = default;
    virtual uint32_t replyCallback(uint64_t replyIndex, const std::shared_ptr<Message>& message,
                                   uint32_t status) = 0;
};

ContextTable<const MessageCallback>& messageContexts();
ContextTable<ReplyReceiver>& replyContexts();

// The functions themselves. A context without anything behind it belongs to who is gone: the message is
// dropped, the reply answered with MODULE_STATUS_NOT_FOUND.
extern "C" {
uint32_t brevantMessageFunction(void* context, const MessageHeader* header, const char16_t* name,
                                const char16_t* sender, const char16_t* payload) noexcept;
uint32_t brevantReplyFunction(void* context, uint64_t replyIndex, const MessageHeader* header,
                              const char16_t* name, const char16_t* sender, const char16_t* payload,
                              uint32_t replyStatus) noexcept;
}

}  // namespace Tavix
