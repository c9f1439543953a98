// A stranger on the bus: a product, a viewer or a settings manager written against the C interface alone.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <brevant/alerts.h>
#include <brevant/bus.h>

#include "support/Monitor.h"

namespace Support {

struct BusMessage {
    MessageHeader header{};
    std::u16string name;
    std::u16string sender;
    std::u16string payload;
};

// Of a message without a payload.
MessageHeader plainHeader(uint32_t flags = 0);

// The function table of the bus library beside this program, loaded once and kept.
const BrevantBusFunctions* embeddedBus();

class BusPeer {
public:
    using Handler = std::function<uint32_t(const BusMessage&)>;

    explicit BusPeer(const BrevantBusFunctions* functions = embeddedBus());
    ~BusPeer();
    // Frees what is kept of peers that have ended, for callbacks that come late. To be called when the bus
    // has no handle left, and so no callback to run.
    static void forgetEnded();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    // Handlers run on the bus's threads. What they capture must live until the peer is gone.
    void onName(const std::u16string& name, Handler handler);
    void onPattern(const std::u16string& pattern, Handler handler);

    uint32_t publish(const std::u16string& name, const std::u16string& payload = u"", uint32_t sessionId = 0);
    // Answers a request, correlated with it, and publishes the answer to everybody, as modules do.
    uint32_t reply(const BusMessage& request, const std::u16string& name,
                   const std::u16string& payload = u"");
    // Waits for the reply; its status when none came.
    uint32_t request(const std::u16string& name, const std::u16string& payload, BusMessage& reply,
                     std::chrono::milliseconds timeout = std::chrono::seconds(20));

private:
    struct Subscription;
    using Entry = uint32_t (*)(BrevantBusHandle, void*, BrevantMessageFunction, const char16_t*);
    void subscribe(Entry entry, const std::u16string& text, Handler handler);

    const BrevantBusFunctions* functions_;
    BrevantBusHandle handle_ = nullptr;
    std::vector<uint32_t> ids_;
    std::vector<std::shared_ptr<Subscription>> subscriptions_;
};

// Keeps the messages whose names match, in the order in which they came: to begin with what passes about
// alerts and viewers, but not the requests to viewers, for which it would count as a subscriber.
class MessageLog : Monitor {
public:
    explicit MessageLog(
        const std::vector<std::u16string>& patterns =
            {BREVANT_ALERT_PREFIX u".+",
             BREVANT_VIEWER_PREFIX u".+(" BREVANT_VIEWER_REGISTERED u"|" BREVANT_VIEWER_UNREGISTERED u")"},
        const BrevantBusFunctions* functions = embeddedBus());

    // The first message of that name not yet waited for; nothing when it does not come in time.
    std::optional<BusMessage> waitFor(const std::u16string& name);
    // All that have come, once there are so many; fewer when they do not come in time.
    std::vector<BusMessage> all(size_t count = 0) const;

private:
    struct Kept : BusMessage {
        bool taken = false;
    };
    std::vector<Kept> messages_;
    BusPeer peer_;  // last: its callbacks use what stands above
};

}  // namespace Support
