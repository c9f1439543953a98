// A request that waits for its reply.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include <brevant/bus.h>

#include "host/bus/QueuedMessage.h"
#include "host/bus/Task.h"
#include "platform/Clock.h"

namespace EmbeddedBus {

class Bus;
struct Request;
using Deadlines = std::multimap<Platform::Clock::Time, std::shared_ptr<Request>>;

// Run as a task, it calls the reply function. All that is not const belongs to the bus's lock.
//
//              | waiting                  | answered                | ended
//   reply      | answered                 | dropped                 | dropped
//   timeout    | answered                 | cannot happen           | cannot happen
//   run        | cannot happen            | ended, then the call    | nothing
//   release    | ended                    | ended                   | nothing
struct Request : Task, std::enable_shared_from_this<Request> {
    enum class State { waiting, answered, ended };

    explicit Request(Bus& owner) noexcept : bus(owner) {}
    void run() noexcept override;

    Bus& bus;
    uint64_t handle = 0;
    uint64_t cookie = 0;
    uint64_t replyIndex = 0;
    void* replyContext = nullptr;
    BrevantReplyFunction replyFunction = nullptr;

    State state = State::waiting;
    Deadlines::iterator deadline;  // valid while waiting
    // Deliveries whose receiver has not returned yet.
    size_t openReceivers = 0;
    bool accepted = false;  // a receiver returned success: its reply may still come
    uint32_t firstFailure = 0;
    // The answer, from answered on.
    uint32_t replyStatus = 0;
    std::shared_ptr<const QueuedMessage> reply;
};

}  // namespace EmbeddedBus
