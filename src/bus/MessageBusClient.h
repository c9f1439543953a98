// The object through which every part of the system talks on the bus.
#pragma once

#include <memory>

#include "bus/MessageBus.h"
#include "bus/MessageBusShim.h"
#include "bus/ProcessAPI.h"
#include "platform/Clock.h"

namespace Tavix {

// Any thread. The bus subscribes and unsubscribes under the client's subscription lock: should it deliver a
// message from inside such a call, that message's callback must not subscribe or unsubscribe on this client,
// nor destroy it. Callbacks are let go of outside every lock.
class MessageBusClient : public MessageBus {
public:
    // Loads the message bus library and acquires a handle of its own. Throws ModuleException.
    MessageBusClient();
    // An empty binding is made as above, an empty processApi is the system's. Replies wait by the clock,
    // which must outlive them.
    MessageBusClient(std::shared_ptr<MessageBusShim> binding, std::shared_ptr<ProcessAPI> processApi,
                     const Platform::Clock& clock = Platform::Clock::steady());
    // Removes what is still subscribed; requests that still wait end as data errors. Callbacks that are
    // running hold what they need themselves, and one of them may be what destroys the client. The bus may
    // wait for them elsewhere: a client is not destroyed under a lock that its callbacks take.
    ~MessageBusClient() override;
    // What destruction begins with: removes what is subscribed, and lets no reply in any more. Does not wait
    // for callbacks that the bus is running. For a client that is only published through from then on.
    void shutDown() noexcept;
    MessageBusClient(const MessageBusClient&) = delete;
    MessageBusClient& operator=(const MessageBusClient&) = delete;

    uint32_t publish(const std::shared_ptr<Message>& message) override;
    uint32_t publishAlternate(const std::shared_ptr<Message>& message) override;
    uint32_t request(const std::shared_ptr<Message>& message, CompletionCallback completion,
                     Timeout timeout) override;
    uint32_t request(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                     Timeout timeout) override;
    uint32_t requestAlternate(const std::shared_ptr<Message>& message, CompletionCallback completion,
                              Timeout timeout) override;
    uint32_t requestAlternate(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                              Timeout timeout) override;
    uint32_t subscribe(const std::u16string& name, const std::u16string& alias,
                       MessageCallback callback) override;
    uint32_t subscribe(const std::u16string& name, MessageCallback callback) override;
    uint32_t subscribeForSession(const std::u16string& name, const std::u16string& alias,
                                 MessageCallback callback) override;
    uint32_t subscribeForSession(const std::u16string& name, MessageCallback callback) override;
    uint32_t subscribeFilter(const std::u16string& pattern, const std::u16string& alias,
                             MessageCallback callback) override;
    uint32_t subscribeFilter(const std::u16string& pattern, MessageCallback callback) override;
    uint32_t subscribeFilterForSession(const std::u16string& pattern, const std::u16string& alias,
                                       MessageCallback callback) override;
    uint32_t subscribeFilterForSession(const std::u16string& pattern, MessageCallback callback) override;
    uint32_t unsubscribe(const std::u16string& alias) override;

    // Runs the callbacks of the matching subscriptions on the calling thread, under the subscription lock:
    // they must not subscribe or unsubscribe on this client, nor destroy it. Their results are ignored; what
    // the first one throws comes out once all have run.
    uint32_t deliverLocally(const std::shared_ptr<Message>& message);

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

// Waits until no callback of the bus is running in this library, on other threads than the calling one. Lets
// go of bus libraries that were kept because their last user ended inside a callback.
void waitForBusCallbacks();

}  // namespace Tavix
