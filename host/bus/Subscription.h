// Subscriptions and the queues before them.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <brevant/bus.h>

#include "host/bus/QueuedMessage.h"
#include "host/bus/Request.h"
#include "host/bus/Task.h"
#include "text/NamePattern.h"

namespace EmbeddedBus {

struct Delivery {
    std::shared_ptr<const QueuedMessage> message;
    std::shared_ptr<Request> request;  // null for a published message
};

class Bus;
struct Backlog;

// Kept alive by whoever delivers to it; what is not const belongs to the bus's lock.
struct Subscription {
    uint64_t handle = 0;
    uint32_t id = 0;
    void* context = nullptr;
    BrevantMessageFunction function = nullptr;
    std::u16string text;                         // the name, or the pattern
    std::optional<Ferrow::NamePattern> pattern;  // none for a plain subscription

    bool active = true;
    size_t bucketPosition = 0;  // in the index
    // The backlogs that have something queued or running, by publisher.
    std::unordered_map<uint64_t, std::shared_ptr<Backlog>> backlogs;
    size_t runnableBacklogs = 0;  // those that the pool knows of, at most subscriptionCallbacks
    TaskQueue parkedBacklogs;     // those that wait for one of these to end
    bool boundReported = false;
};

// The messages of one publisher to one subscription, one after the other. Messages of other publishers
// overtake it while its callback blocks. Run as a task, it delivers the first message.
struct Backlog : Task, std::enable_shared_from_this<Backlog> {
    Backlog(Bus& owner, std::shared_ptr<Subscription> receiver, uint64_t sender) noexcept
        : bus(owner), subscription(std::move(receiver)), publisher(sender) {}
    void run() noexcept override;

    Bus& bus;
    const std::shared_ptr<Subscription> subscription;
    const uint64_t publisher;
    std::list<Delivery> queue;  // belongs to the bus's lock
};

}  // namespace EmbeddedBus
