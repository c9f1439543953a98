// What the bus writes into the opaque fields of a request, and reads in those of its reply.
#pragma once

#include <cstdint>

#include <brevant/message.h>

namespace MessageBus {

struct RequestIdentity {
    uint64_t handle;  // the requester's
    uint64_t cookie;  // never 0

    void writeTo(MessageHeader& request) const noexcept;
    // False when the reply's fields do not agree with each other and with what writeTo writes.
    bool readFrom(const MessageHeader& reply) noexcept;
};

}  // namespace MessageBus
