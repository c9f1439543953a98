// The host's side of the message bus: one connection over the bus library's function table.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <brevant/bus.h>

#include "host/program/connection/BusLibrary.h"

namespace Host {

struct ReceivedMessage {
    MessageHeader header{};
    std::u16string name;
    std::u16string sender;
    std::u16string payload;
};

struct BusAnswer {
    uint32_t status = MODULE_STATUS_UNSUCCESSFUL;
    ReceivedMessage message;  // only with success
};

// Any thread may publish, reply and request; subscribing and closing belong to the owner. What the bus
// delivers after close() is turned away, however late it comes.
class BusConnection {
public:
    // Runs on the bus's threads, any number at once. Its status goes back to the bus; what it throws becomes
    // MODULE_STATUS_UNKNOWN_EXCEPTION.
    using Handler = std::function<uint32_t(const ReceivedMessage&)>;

    // The table outlives the connection. Throws HostError when the bus gives no handle.
    BusConnection(const BrevantBusFunctions& functions, std::u16string sender);
    ~BusConnection() { close(); }
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    // False when the bus refuses.
    bool subscribe(const std::u16string& name, Handler handler);
    bool subscribePattern(const std::u16string& pattern, Handler handler);

    uint32_t publish(const std::u16string& name, const std::u16string& payload = {});
    // Answers a request. Everybody who subscribes to the name gets a plain copy, unless it is for the
    // requester alone. A request that wants no reply gets the plain message.
    enum class Audience { everybody, requesterOnly };
    uint32_t reply(const ReceivedMessage& request, const std::u16string& name,
                   const std::u16string& payload = {}, Audience audience = Audience::everybody);
    // Waits for the reply, for at most the timeout.
    BusAnswer request(const std::u16string& name, const std::u16string& payload,
                      std::chrono::milliseconds timeout);
    // Asks all of them at the same time; the answers are in their order.
    std::vector<BusAnswer> requestAll(const std::vector<std::u16string>& names,
                                      std::chrono::milliseconds timeout, const std::u16string& payload = {});
    // The answer, or why there is none, goes to the function, on a thread of the bus or from inside this
    // call; none comes after close().
    using Answered = std::function<void(BusAnswer)>;
    void requestLater(const std::u16string& name, const std::u16string& payload,
                      std::chrono::milliseconds timeout, Answered answered);

    // Ends subscriptions, ends waiting requests with a failure and waits for running handlers. Not to be
    // called from a handler.
    void close();

private:
    struct Shared;
    using Subscribe = uint32_t (*)(BrevantBusHandle, void*, BrevantMessageFunction, const char16_t*);
    bool add(Subscribe entry, const std::u16string& text, Handler handler);
    uint32_t sendRequest(uint64_t index, const std::u16string& name, const std::u16string& payload,
                         std::chrono::milliseconds timeout);
    uint32_t send(MessageHeader& header, const std::u16string& name, const std::u16string& payload);
    MessageHeader headerFor(const std::u16string& name, const std::u16string& payload) const;

    const BrevantBusFunctions& functions_;
    const std::u16string sender_;
    std::unique_ptr<BusHandle> handle_;  // gone once closed
    const std::shared_ptr<Shared> shared_;
    std::vector<uint32_t> subscriptions_;
    std::vector<uint64_t> contexts_;
};

// A name as a pattern that matches nothing else.
std::u16string literalPattern(const std::u16string& name);

}  // namespace Host
