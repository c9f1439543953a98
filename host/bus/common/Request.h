// A request that waits for its reply.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include <brevant/bus.h>

#include "host/bus/common/QueuedMessage.h"
#include "host/bus/common/ReceiverReports.h"
#include "host/bus/common/Task.h"
#include "host/bus/common/WorkerPool.h"
#include "platform/Clock.h"
#include "platform/StackList.h"

namespace MessageBus {

class RequestTable;
struct Request;
struct Requester;
using Deadlines = std::multimap<Platform::Clock::Time, Request*>;

// What its reply function is to be called with.
struct Answer {
    uint64_t replyIndex;
    void* context;
    BrevantReplyFunction function;
    uint32_t timeoutMilliseconds;
};

// Run as a task, it calls the reply function. All that is not const belongs to the table's lock.
//
//                        | waiting            | answered                | ended
//   reply                | answered           | dropped                 | dropped
//   time-out             | answered           | cannot happen           | cannot happen
//   last receiver fails  | answered           | nothing                 | nothing
//   run                  | cannot happen      | ended, then the call    | nothing
//   release              | ended              | ended                   | nothing
//
// From waiting to ended it is in its table and in its requester's list.
struct Request : Task,
                 ReceiverReports,
                 Platform::StackList<Request>::Link,
                 std::enable_shared_from_this<Request> {
    enum class State { waiting, answered, ended };

    Request(RequestTable& owner, std::shared_ptr<WorkerPool> answering, const Answer& wanted,
            size_t receivers) noexcept
        : table(owner), pool(std::move(answering)), answer(wanted), openReceivers(receivers) {}
    void run(CallSlot& slot) noexcept override;
    void receiverReturned(uint32_t status) noexcept override;
    void receiverLeft() noexcept override;

    RequestTable& table;
    const std::shared_ptr<WorkerPool> pool;
    const Answer answer;

    Requester* requester = nullptr;
    uint64_t cookie = 0;
    State state = State::ended;
    Deadlines::iterator deadline;  // valid while waiting
    // Deliveries whose receiver has not returned yet.
    size_t openReceivers;
    bool accepted = false;  // a receiver returned success: its reply may still come
    uint32_t firstFailure = 0;
    // The reply, from answered on.
    uint32_t replyStatus = 0;
    std::shared_ptr<const QueuedMessage> reply;
};

}  // namespace MessageBus
