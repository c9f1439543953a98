#include "bus/MessageBusClient.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <regex>
#include <utility>

#include "bus/MessageBusLib.h"
#include "bus/PendingRequests.h"
#include "bus/ReplyImpl.h"
#include "bus/Subscriptions.h"
#include "logging/Log.h"
#include "platform/Sync.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"MessageBusClient";

uint32_t busTimeout(MessageBus::Timeout timeout) {
    constexpr int64_t longest = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::clamp<int64_t>(timeout.count(), 0, longest));
}

uint32_t sessionOfProcess(ProcessAPI& processApi) {
    constexpr std::u16string_view function = u"Tavix::MessageBusClient::MessageBusClient";
    const uint32_t process = processApi.GetCurrentProcessId();
    uint32_t session = 0;
    if (processApi.ProcessIdToSessionId(process, &session)) {
        LOG_FORMATTED(ETWLogging::levelNormal, function, u"Found session id %ld for process %ld", session,
                      process);
        return session;
    }
    constexpr uint32_t defaultSession = 0;
    LOG_FORMATTED(ETWLogging::levelError, function,
                  u"Failed to get the session id for process %ld - defaulting to %ld", process,
                  defaultSession);
    return defaultSession;
}

// Leaves out messages of other user sessions.
MessageCallback onlyForSession(uint32_t sessionId, MessageCallback callback) {
    if (sessionId == 0)
        return callback;
    return [sessionId, callback = std::move(callback)](const std::shared_ptr<Message>& message) {
        const MessageExtension* extension = messageExtension(*message->header());
        if (extension && extension->sessionId != 0 && extension->sessionId != sessionId)
            return MODULE_STATUS_SUCCESS;
        return callback(message);
    };
}

}  // namespace

// Shared only between the client and its operations: one that a callback lets outlive the client finds what
// it still needs.
struct MessageBusClient::Impl {
    Impl(std::shared_ptr<MessageBusShim> itsBinding, std::shared_ptr<ProcessAPI> itsProcessApi,
         const Platform::Clock& itsClock)
        : binding(itsBinding ? std::move(itsBinding) : std::make_shared<MessageBusLib>()),
          processApi(itsProcessApi ? std::move(itsProcessApi) : std::make_shared<ProcessAPI>()),
          clock(itsClock),
          sessionId(sessionOfProcess(*processApi)) {}

    uint32_t internalPublish(const std::shared_ptr<Message>& message, bool alternate);
    // Sends the request; on success future is its reply to come.
    uint32_t send(const std::shared_ptr<Message>& message, PendingRequests::Completion completion,
                  Timeout timeout, bool alternate, std::shared_ptr<PendingReply>& future);
    uint32_t internalRequest(const std::shared_ptr<Message>& message, CompletionCallback completion,
                             Timeout timeout, bool alternate);
    uint32_t internalRequest(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                             Timeout timeout, bool alternate);
    void unsubscribeAll(AliasEntry& entry) REQUIRES(subscriptionsMutex);
    void shutDown() noexcept;

    // Constant once built.
    const std::shared_ptr<MessageBusShim> binding;
    const std::shared_ptr<ProcessAPI> processApi;
    const Platform::Clock& clock;
    const uint32_t sessionId;

    // Locks of its own.
    const std::shared_ptr<PendingRequests> pending = std::make_shared<PendingRequests>();
    ContextEntry<ReplyReceiver> replyEntry{replyContexts(), pending};
    std::atomic<bool> replyFunctionReleased{false};

    // Held while the binding subscribes and unsubscribes and while messages are delivered locally; callbacks
    // that the bus delivers do not need it.
    Platform::Mutex subscriptionsMutex;
    Subscriptions subscriptions GUARDED_BY(subscriptionsMutex);
};

uint32_t MessageBusClient::Impl::internalPublish(const std::shared_ptr<Message>& message, bool alternate) {
    constexpr std::u16string_view function = u"Tavix::MessageBusClient::internalPublish";
    if (!message)
        return MODULE_STATUS_INVALID_PARAMETER;
    MessageHeader& header = *message->header();
    constexpr uint32_t decided = BREVANT_MESSAGE_NO_BROADCAST_COPY | BREVANT_MESSAGE_BROADCAST_COPY_MADE;
    const bool copyDue = (header.flags & BREVANT_MESSAGE_REPLY) && !(header.flags & decided);
    if (copyDue)
        header.flags |= BREVANT_MESSAGE_BROADCAST_COPY_MADE;
    uint32_t status = binding->publish(message, alternate);
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to publish message. Error code %lu.",
                      status);
        return status;
    }
    if (!copyDue)
        return MODULE_STATUS_SUCCESS;
    header.flags &= ~static_cast<uint32_t>(BREVANT_MESSAGE_REPLY);
    header.replyCookie = 0;  // compat
    status = binding->publish(message, alternate);
    if (status != MODULE_STATUS_SUCCESS)
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to publish non-reply copy of the message. Error code %lu.", status);
    return MODULE_STATUS_SUCCESS;
}

uint32_t MessageBusClient::Impl::send(const std::shared_ptr<Message>& message,
                                      PendingRequests::Completion completion, Timeout timeout, bool alternate,
                                      std::shared_ptr<PendingReply>& future) {
    constexpr std::u16string_view function = u"Tavix::MessageBusClient::internalRequest";
    auto entry = pending->add(std::move(completion));
    if (!entry) {
        // compat
        LOG_MESSAGE(ETWLogging::levelError, function, u"Unable to create reply promise. Returning.");
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    const uint32_t status =
        binding->request(message, entry->index, replyEntry.context(), busTimeout(timeout), alternate);
    if (status != MODULE_STATUS_SUCCESS) {
        pending->remove(entry->index);
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to make request. Error code %lu.", status);
        return status;
    }
    future = std::move(entry->future);
    return MODULE_STATUS_SUCCESS;
}

uint32_t MessageBusClient::Impl::internalRequest(const std::shared_ptr<Message>& message,
                                                 CompletionCallback completion, Timeout timeout,
                                                 bool alternate) {
    std::shared_ptr<PendingReply> unused;
    auto action = [completion = std::move(completion),
                   &replyClock = clock](std::shared_ptr<PendingReply> future) {
        const auto reply = std::make_shared<ReplyImpl>(std::move(future), Timeout(0), replyClock);
        reply->wait();
        if (completion)
            completion(reply);
    };
    return send(message, std::move(action), timeout, alternate, unused);
}

uint32_t MessageBusClient::Impl::internalRequest(const std::shared_ptr<Message>& message,
                                                 std::shared_ptr<Reply>& reply, Timeout timeout,
                                                 bool alternate) {
    reply = nullptr;
    std::shared_ptr<PendingReply> future;
    const uint32_t status = send(message, nullptr, timeout, alternate, future);
    if (status == MODULE_STATUS_SUCCESS)
        reply = std::make_shared<ReplyImpl>(std::move(future), timeout, clock);
    return status;
}

// The bus may deliver once more from inside unsubscribe, on this thread, whose caller may hold what the
// callback takes: the contexts go first.
void MessageBusClient::Impl::unsubscribeAll(AliasEntry& entry) {
    const auto end = [this](Subscription& subscription) {
        subscription.entry.remove();
        binding->unsubscribe(subscription.id);
    };
    for (PlainSubscription& plain : entry.plain)
        end(plain.subscription);
    for (PatternSubscription& pattern : entry.patterns)
        end(pattern.subscription);
}

void MessageBusClient::Impl::shutDown() noexcept {
    // Replies find nothing from here on, so that the pending lock is not needed below: this may run inside a
    // completion, which holds it.
    replyEntry.remove();
    try {
        // The callbacks' own ends run outside the lock.
        Subscriptions ended;
        {
            Platform::MutexLock lock(subscriptionsMutex);
            for (auto& [alias, entry] : subscriptions)
                unsubscribeAll(entry);
            ended.swap(subscriptions);
        }
        if (!replyFunctionReleased.exchange(true))
            binding->releaseReplyFunction();
    } catch (...) {
        // Nobody is left to tell.
    }
}

MessageBusClient::MessageBusClient() : MessageBusClient(nullptr, nullptr) {}

MessageBusClient::MessageBusClient(std::shared_ptr<MessageBusShim> binding,
                                   std::shared_ptr<ProcessAPI> processApi, const Platform::Clock& clock)
    : impl_(std::make_shared<Impl>(std::move(binding), std::move(processApi), clock)) {}

MessageBusClient::~MessageBusClient() {
    shutDown();
}

void MessageBusClient::shutDown() noexcept {
    std::shared_ptr(impl_)->shutDown();
}

// A callback that the bus runs inside one of these may destroy the client: what is used after it is held.

uint32_t MessageBusClient::publish(const std::shared_ptr<Message>& message) {
    return std::shared_ptr(impl_)->internalPublish(message, false);
}

uint32_t MessageBusClient::publishAlternate(const std::shared_ptr<Message>& message) {
    return std::shared_ptr(impl_)->internalPublish(message, true);
}

uint32_t MessageBusClient::request(const std::shared_ptr<Message>& message, CompletionCallback completion,
                                   Timeout timeout) {
    return std::shared_ptr(impl_)->internalRequest(message, std::move(completion), timeout, false);
}

uint32_t MessageBusClient::request(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                                   Timeout timeout) {
    return std::shared_ptr(impl_)->internalRequest(message, reply, timeout, false);
}

uint32_t MessageBusClient::requestAlternate(const std::shared_ptr<Message>& message,
                                            CompletionCallback completion, Timeout timeout) {
    return std::shared_ptr(impl_)->internalRequest(message, std::move(completion), timeout, true);
}

uint32_t MessageBusClient::requestAlternate(const std::shared_ptr<Message>& message,
                                            std::shared_ptr<Reply>& reply, Timeout timeout) {
    return std::shared_ptr(impl_)->internalRequest(message, reply, timeout, true);
}

uint32_t MessageBusClient::subscribe(const std::u16string& name, const std::u16string& alias,
                                     MessageCallback callback) {
    const std::shared_ptr<Impl> impl = impl_;
    PlainSubscription record{name, Subscription(std::move(callback))};
    Platform::MutexLock lock(impl->subscriptionsMutex);
    auto& records = impl->subscriptions[alias].plain;
    records.reserve(records.size() + 1);
    record.subscription.id = impl->binding->subscribe(name, record.subscription.entry.context());
    if (record.subscription.id == 0) {
        LOG_FORMATTED(ETWLogging::levelError, u"Tavix::MessageBusClient::subscribe",
                      u"Failed to subscribe. Alias: %ls Message name: %ls", alias, name);
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    records.push_back(std::move(record));
    return MODULE_STATUS_SUCCESS;
}

uint32_t MessageBusClient::subscribe(const std::u16string& name, MessageCallback callback) {
    return subscribe(name, name, std::move(callback));
}

uint32_t MessageBusClient::subscribeForSession(const std::u16string& name, const std::u16string& alias,
                                               MessageCallback callback) {
    return subscribe(name, alias, onlyForSession(impl_->sessionId, std::move(callback)));
}

uint32_t MessageBusClient::subscribeForSession(const std::u16string& name, MessageCallback callback) {
    return subscribeForSession(name, name, std::move(callback));
}

uint32_t MessageBusClient::subscribeFilter(const std::u16string& pattern, const std::u16string& alias,
                                           MessageCallback callback) {
    constexpr std::u16string_view function = u"Tavix::MessageBusClient::subscribeFilter";
    const std::shared_ptr<Impl> impl = impl_;
    try {
        PatternSubscription record{pattern, Ferrow::NamePattern(pattern), Subscription(std::move(callback))};
        Platform::MutexLock lock(impl->subscriptionsMutex);
        auto& records = impl->subscriptions[alias].patterns;
        records.reserve(records.size() + 1);
        record.subscription.id = impl->binding->subscribeFilter(pattern, record.subscription.entry.context());
        if (record.subscription.id == 0) {
            LOG_FORMATTED(ETWLogging::levelError, function,
                          u"Failed to subscribeFilter. Alias: %ls Message nameRegex: %ls", alias, pattern);
            return MODULE_STATUS_UNSUCCESSFUL;
        }
        records.push_back(std::move(record));
        return MODULE_STATUS_SUCCESS;
    } catch (const std::regex_error& error) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"subscribeFilter failed. Regex error with regex \"%ls\" [caught: %hs]", pattern,
                      error.what());
        return MODULE_STATUS_INVALID_PARAMETER;
    }
}

uint32_t MessageBusClient::subscribeFilter(const std::u16string& pattern, MessageCallback callback) {
    return subscribeFilter(pattern, pattern, std::move(callback));
}

uint32_t MessageBusClient::subscribeFilterForSession(const std::u16string& pattern,
                                                     const std::u16string& alias, MessageCallback callback) {
    return subscribeFilter(pattern, alias, onlyForSession(impl_->sessionId, std::move(callback)));
}

uint32_t MessageBusClient::subscribeFilterForSession(const std::u16string& pattern,
                                                     MessageCallback callback) {
    return subscribeFilterForSession(pattern, pattern, std::move(callback));
}

uint32_t MessageBusClient::unsubscribe(const std::u16string& alias) {
    const std::shared_ptr<Impl> impl = impl_;
    // The callbacks' own ends run outside the lock.
    Subscriptions::node_type ended;
    Platform::MutexLock lock(impl->subscriptionsMutex);
    const auto found = impl->subscriptions.find(alias);
    if (found == impl->subscriptions.end()) {
        LOG_FORMATTED(ETWLogging::levelWarning, u"Tavix::MessageBusClient::unsubscribe",
                      u"Subscription not found. Alias: %ls.", alias);  // compat
        return MODULE_STATUS_SUCCESS;
    }
    impl->unsubscribeAll(found->second);
    ended = impl->subscriptions.extract(found);
    return MODULE_STATUS_SUCCESS;
}

uint32_t MessageBusClient::deliverLocally(const std::shared_ptr<Message>& message) {
    if (!message)
        return MODULE_STATUS_INVALID_PARAMETER;
    const std::shared_ptr<Impl> impl = impl_;
    const Ferrow::MatchName name(message->name());
    std::exception_ptr thrown;
    const auto deliver = [&](const Subscription& subscription) {
        try {
            (*subscription.callback)(message);
        } catch (...) {
            if (!thrown)
                thrown = std::current_exception();
        }
    };
    Platform::MutexLock lock(impl->subscriptionsMutex);
    for (const auto& [alias, entry] : impl->subscriptions) {
        for (const PlainSubscription& plain : entry.plain) {
            if (plain.name == message->name())
                deliver(plain.subscription);
        }
        for (const PatternSubscription& pattern : entry.patterns) {
            if (pattern.compiled.matches(name))
                deliver(pattern.subscription);
        }
    }
    if (thrown)
        std::rethrow_exception(thrown);
    return MODULE_STATUS_SUCCESS;
}

}  // namespace Tavix
