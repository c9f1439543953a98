// The message bus of all processes that use one server.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <utility>

#include "host/bus/common/Bus.h"
#include "host/bus/nats/NatsLink.h"
#include "host/bus/nats/ServerAddress.h"

namespace MessageBus {

// One connection for all handles, made with the first and ended with the last. Whatever is published goes
// through the server, also from one handle to another of the process. Beyond what Bus says:
//
//  an argument or a state                                    | what the entry gives
//  a message of more bytes than the server takes             | MODULE_STATUS_INVALID_BUFFER_SIZE
//  publish, the server is away                               | success: it is kept and sent, in order
//  publish, more is kept or on its way than may be           | MODULE_STATUS_NO_MEMORY (BusLimits.h)
//  request, the server is away                               | MODULE_STATUS_NO_SUBSCRIBERS
//  request, the server's permissions do not allow it         | MODULE_STATUS_APP_SERVICE_UNAUTHORIZED
//
//  - A request waits for the server, for takingTime at most, to say whether anybody has subscribed, unless a
//    subscription of this process has the name. What is found out later its reply function is told.
//  - subscribe outside callbacks waits for the server, for subscribingTime at most, to know of it: what
//  others
//    publish from then on comes, unless they use another server of a cluster.
//  - What comes from other processes and is not handled is bounded by busMessageBytes together. A message
//    beyond it is lost, a request refused with MODULE_STATUS_NO_MEMORY; the debugger output says so once.
class NatsBus final : public Bus, public NatsLink::Receiver {
public:
    static constexpr std::chrono::milliseconds takingTime{1000};
    static constexpr std::chrono::milliseconds subscribingTime{1000};
    static constexpr std::chrono::milliseconds firstConnectTime{1000};  // that acquireHandle waits at most

    explicit NatsBus(ServerAddress address, const PoolLimits& limits = {})
        : Bus(limits), address_(std::move(address)) {}

    uint32_t acquireHandle(BrevantBusHandle* handle) override;

private:
    struct Publisher {
        std::shared_ptr<Handle> handle;
        std::shared_ptr<NatsLink> link;
    };

    uint32_t send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                  const Answer* answer) override;
    uint32_t reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) override;
    void opening() override REQUIRES(mutex_);
    void closed() override REQUIRES(mutex_);
    void added(const Subscription& subscription) override REQUIRES(mutex_);
    void removed(const Subscription& subscription) noexcept override REQUIRES(mutex_);
    void subscriptionsChanged(bool isNew) noexcept override;

    void arrived(NatsLink& link, Arrival& arrival) override;
    void replied(RemoteRequest& request, const WireMessage& reply) override;

    uint32_t request(const Publisher& publisher, const WireMessage& message, const std::string& subject,
                     const Answer& answer);
    // Of the message with its copies; nothing when the handle has too much on its way.
    std::optional<MessageCharge> charge(const Publisher& publisher, size_t bytes);
    uint32_t checkSize(NatsLink& link, const WireMessage& message) const;
    const std::shared_ptr<Outbox>& outboxOf(const WireMessage& message) REQUIRES(mutex_);
    bool hasReceiver(std::u16string_view name);
    static void reportOnce(std::atomic<bool>& reported, std::u16string_view text);

    const ServerAddress address_;
    std::shared_ptr<NatsLink> link_ GUARDED_BY(mutex_);  // while there are handles
    // Whose messages have come; those that have nothing to be delivered go when there are many.
    std::map<std::pair<ProcessId, uint64_t>, std::shared_ptr<Outbox>> outboxes_ GUARDED_BY(mutex_);
    size_t outboxSweep_ GUARDED_BY(mutex_) = 0;
    // Since the connection was made.
    std::atomic<bool> keptReported_{false};
    std::atomic<bool> lossReported_{false};
};

}  // namespace MessageBus
