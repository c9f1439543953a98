// A bus inside the test: it records what the product sends, delivers what the test wants delivered, and fails
// or misbehaves when told to. It does not pass on what is published.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <brevant/bus.h>

#include "bus/MessageBusClient.h"

namespace Support {

// Any thread. The table has no context, so handles tell which fake bus is meant: several may live side by
// side, and handles are acquired from the latest. Clients and handles may outlive it; their calls then fail.
class FakeBus {
public:
    struct Sent {
        std::u16string name, sender, payload;
        MessageHeader header{};
        uint32_t timeout = 0;  // milliseconds, of requests
        bool alternate = false;
        // Of requests: how to reply.
        uint64_t replyIndex = 0;
        void* replyContext = nullptr;
        BrevantReplyFunction replyFunction = nullptr;
    };
    struct Answer {
        std::u16string name, payload;
        uint32_t status = MODULE_STATUS_SUCCESS;
    };
    using Answerer = std::function<std::optional<Answer>(const Sent&)>;
    FakeBus();
    FakeBus(const FakeBus&) = delete;
    FakeBus& operator=(const FakeBus&) = delete;

    static const BrevantBusFunctions* functions();
    // The bus's own handle, the same each time.
    BrevantBusHandle handle() const;
    // A client over a binding on a handle of its own.
    std::shared_ptr<Tavix::MessageBusClient> makeClient(
        std::shared_ptr<Tavix::ProcessAPI> processApi = nullptr,
        const Platform::Clock& clock = Platform::Clock::steady());

    // Calls the matching subscriptions on the calling thread, without a lock: those found when it begins,
    // also when they end meanwhile. Returns the status of the last; success when there are none.
    uint32_t deliver(const std::u16string& name, const std::u16string& payload,
                     const std::u16string& sender = u"", const MessageHeader* header = nullptr);

    // Answers requests to that name from inside the request; an answerer that gives nothing leaves it
    // pending. Requests to other names fail with MODULE_STATUS_NO_SUBSCRIBERS.
    void answer(const std::u16string& name, Answerer answerer);
    // Ends a request, at any time and as often as one likes. The reply function's status.
    static uint32_t reply(const Sent& request, const Answer& answer);

    // In order of sending; failed ones are left out.
    std::vector<Sent> published() const;
    std::vector<Sent> requests() const;
    // False when none of that name has been published in time.
    bool waitForPublished(const std::u16string& name) const;

    size_t subscriptionCount() const;
    // Acquired through the table and not released yet.
    size_t handleCount() const;

    // The next call of that table entry fails with the status, a subscription with 0. May be queued.
    void failNext(const std::string& entry, uint32_t status);
    // Runs in every later call of that entry, without a lock, once its work is done.
    void whenCalled(const std::string& entry, std::function<void()> action);
    size_t callCount(const std::string& entry) const;

private:
    struct State;
    struct Table;
    std::shared_ptr<State> state_;
    BrevantBusHandle handle_;
};

}  // namespace Support

using Support::FakeBus;
