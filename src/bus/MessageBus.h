// The bus as the rest of the system sees it. Every operation returns a module status.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <brevant/status.h>

#include "bus/Message.h"
#include "bus/Reply.h"

namespace Tavix {

// Runs on the bus library's threads, several at once; its status goes back to the bus.
using MessageCallback = std::function<uint32_t(const std::shared_ptr<Message>&)>;
// Runs on a bus thread under the client's pending lock: it must not send a request on the same client.
using CompletionCallback = std::function<void(const std::shared_ptr<Reply>&)>;

class MessageBus {
public:
    using Timeout = std::chrono::milliseconds;

    virtual ~MessageBus() = default;
    // Publishing a reply also publishes a plain copy of it and changes the message's header (see the client).
    virtual uint32_t publish(const std::shared_ptr<Message>& message) = 0;
    virtual uint32_t publishAlternate(const std::shared_ptr<Message>& message) = 0;  // compat
    virtual uint32_t request(const std::shared_ptr<Message>& message, CompletionCallback completion,
                             Timeout timeout) = 0;
    virtual uint32_t request(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                             Timeout timeout) = 0;
    virtual uint32_t requestAlternate(const std::shared_ptr<Message>& message, CompletionCallback completion,
                                      Timeout timeout) = 0;
    virtual uint32_t requestAlternate(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                                      Timeout timeout) = 0;
    // Exact name. An alias groups subscriptions for unsubscribe; without one the name is the alias.
    virtual uint32_t subscribe(const std::u16string& name, const std::u16string& alias,
                               MessageCallback callback) = 0;
    virtual uint32_t subscribe(const std::u16string& name, MessageCallback callback) = 0;
    // Drops messages of other user sessions.
    virtual uint32_t subscribeForSession(const std::u16string& name, const std::u16string& alias,  // compat
                                         MessageCallback callback) = 0;
    virtual uint32_t subscribeForSession(const std::u16string& name, MessageCallback callback) = 0;
    // ECMAScript regular expression that matches the whole name.
    virtual uint32_t subscribeFilter(const std::u16string& pattern, const std::u16string& alias,
                                     MessageCallback callback) = 0;
    virtual uint32_t subscribeFilter(const std::u16string& pattern, MessageCallback callback) = 0;
    virtual uint32_t subscribeFilterForSession(const std::u16string& pattern, const std::u16string& alias,
                                               MessageCallback callback) = 0;
    virtual uint32_t subscribeFilterForSession(const std::u16string& pattern, MessageCallback callback) = 0;
    // Removes every subscription under the alias; success for an unknown one. Does not wait for callbacks
    // that are running.
    virtual uint32_t unsubscribe(const std::u16string& alias) = 0;
};

}  // namespace Tavix
