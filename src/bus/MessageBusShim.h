// The binding between the bus client and a bus library's function table.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <brevant/bus.h>

#include "bus/Message.h"

namespace Tavix {

// What a binding hands to the bus library as context: never an address, so that a callback which comes after
// its subscription or client is gone finds nothing instead of freed memory.
using BusContext = void*;

// A name or pattern that holds a zero, at which it ends for the bus, is refused: no message goes out under a
// part of its name.
class MessageBusShim {
public:
    virtual ~MessageBusShim() = default;
    virtual uint32_t publish(const std::shared_ptr<Message>& message, bool alternate) = 0;
    virtual uint32_t request(const std::shared_ptr<Message>& message, uint64_t replyIndex,
                             BusContext replyContext, uint32_t timeoutMilliseconds, bool alternate) = 0;
    virtual uint32_t releaseReplyFunction() = 0;
    // The subscription's id; 0 on failure.
    virtual uint32_t subscribe(const std::u16string& name, BusContext context) = 0;
    virtual uint32_t subscribeFilter(const std::u16string& pattern, BusContext context) = 0;
    virtual uint32_t unsubscribe(uint32_t subscriptionId) = 0;
};

}  // namespace Tavix
