// What a waiting request hands back.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "bus/Message.h"

namespace Tavix {

enum class ReplyState : uint32_t {
    received = 0,   // a reply message is held
    pending = 1,    // nothing decided yet
    timedOut = 2,   // the bus reported that the request timed out
    dataError = 3,  // no usable reply
};

// Belongs to one thread. May outlive the bus client that made it.
class Reply {
public:
    virtual ~Reply() = default;
    virtual ReplyState getState() const = 0;
    // Empty unless the state is received.
    virtual std::shared_ptr<Message> getMessage() const = 0;
    // Waits until the request's deadline and one second more. Returns the state, `received` at once when it
    // is that already.
    virtual ReplyState wait() = 0;
    // Waits for at most that long; the state stays as it is when nothing came.
    virtual ReplyState waitFor(std::chrono::milliseconds duration) = 0;
};

}  // namespace Tavix
