#include "host/bus/nats/NatsBus.h"

#include <utility>

#include "host/bus/nats/Subject.h"
#include "platform/ProcessWide.h"

namespace MessageBus {

namespace {

using Platform::Clock;
using namespace std::chrono_literals;

// What keeps a frame, at worst.
constexpr size_t bytesPerFrame = 512;
constexpr size_t mostNameUnits = size_t{1} << 24;
constexpr size_t fewestOutboxesToSweep = 1024;

}  // namespace

uint32_t NatsBus::acquireHandle(BrevantBusHandle* handle) {
    const uint32_t status = Bus::acquireHandle(handle);
    if (status != MODULE_STATUS_SUCCESS)
        return status;
    std::shared_ptr<NatsLink> link;
    {
        Platform::MutexLock lock(mutex_);
        link = link_;
    }
    if (link)
        link->client().waitUntilOpen(firstConnectTime);
    return MODULE_STATUS_SUCCESS;
}

uint32_t NatsBus::send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                       const Answer* answer) {
    Publisher publisher;
    {
        Platform::MutexLock lock(mutex_);
        publisher = {find(handle), link_};
        if (!publisher.handle)
            return MODULE_STATUS_INVALID_HANDLE;
        if (answer)
            noteFunction(*publisher.handle, identityOf(answer->function));
    }
    WireMessage message;
    message.kind = answer ? WireKind::request : WireKind::message;
    message.process = publisher.link->process();
    message.handle = publisher.handle->requester.handle;
    message.header = header;
    message.name = bytesOf(texts.name);
    message.sender = bytesOf(texts.sender);
    message.payload = bytesOf(texts.payload);
    if (const uint32_t status = checkSize(*publisher.link, message); status != MODULE_STATUS_SUCCESS)
        return status;
    const std::string subject = subjectOf(texts.name);
    if (answer)
        return request(publisher, message, subject, *answer);
    std::vector<Frame> frames;
    frames.emplace_back("mb." + subject, std::string_view(), message);
    frames.front().charge = charge(publisher, frames.front().bytes.size());
    if (!frames.front().charge)
        return MODULE_STATUS_NO_MEMORY;
    publisher.link->client().publish(std::move(frames));
    return MODULE_STATUS_SUCCESS;
}

uint32_t NatsBus::request(const Publisher& publisher, const WireMessage& message, const std::string& subject,
                          const Answer& answer) {
    NatsLink& link = *publisher.link;
    NatsClient& client = link.client();
    const Clock::Time expires =
        Platform::deadlineAfter(Clock::steady().now(), std::chrono::milliseconds(answer.timeoutMilliseconds));
    const auto taking = std::min<std::chrono::milliseconds>(
        takingTime, std::chrono::milliseconds(answer.timeoutMilliseconds));
    if (client.state() == NatsClient::State::settling)
        client.waitUntilOpen(taking);
    if (client.state() != NatsClient::State::open)
        return MODULE_STATUS_NO_SUBSCRIBERS;

    auto held = charge(publisher, message.name.size());
    if (!held)
        return MODULE_STATUS_NO_MEMORY;
    std::shared_ptr<RemoteRequest> request;
    {
        Platform::MutexLock lock(mutex_);
        request = std::make_shared<RemoteRequest>(requests_, pool(), answer, unitsOf(message.name),
                                                  std::move(*held));
    }
    WireMessage sent = message;
    sent.value = answer.timeoutMilliseconds;
    sent.header.flags |= BREVANT_MESSAGE_REPLY_REQUESTED;
    MessageHeader unused{};  // the process that is asked writes an identity of its own
    if (const uint32_t status = requests_.open(publisher.handle->requester, request, unused);
        status != MODULE_STATUS_SUCCESS)
        return status;
    try {
        const auto send = [&] {
            std::vector<ProcessId> to = link.peers().matching(request->name, false);
            to.insert(to.begin(), ProcessId{});
            std::vector<Frame> frames;
            auto charged = charge(publisher, to.size() * (sent.size() + bytesPerFrame));
            if (!charged)
                return false;
            request->send(to, [&](size_t first) {
                for (size_t i = 0; i < to.size(); ++i) {
                    Frame& frame =
                        frames.emplace_back(i == 0 ? "mq." + subject : NatsLink::addressOf(to[i], subject),
                                            link.inboxOf(request->cookie, first + i), sent);
                    frame.watcher = request;
                    frame.request = request;
                    frame.expires = expires;
                }
                frames.front().charge = std::move(charged);
                if (first == 0)
                    link.addCopies(request->name, subject, sent, frames);
                return client.publish(std::move(frames));
            });
            return true;
        };
        if (!send()) {
            requests_.cancel(*request);
            return MODULE_STATUS_NO_MEMORY;
        }
        if (!hasReceiver(request->name)) {
            const Clock::Time deadline = Platform::deadlineAfter(Clock::steady().now(), taking);
            const Clock::Time settled = link.settledTime();
            if (!request->waitForTaking(deadline) && Clock::steady().now() < settled && settled < deadline) {
                // Who has been there for longer may not have told yet what he wants to be sent.
                request->waitUntil(settled);
                if (send())
                    request->waitForTaking(deadline);
            }
        }
    } catch (...) {
        requests_.cancel(*request);
        throw;
    }
    const uint32_t failure = request->endWaiting();
    if (failure == MODULE_STATUS_SUCCESS || !requests_.cancel(*request))
        return MODULE_STATUS_SUCCESS;
    link.tellObservers(*request, failure);
    return failure;
}

uint32_t NatsBus::reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) {
    Publisher publisher;
    {
        Platform::MutexLock lock(mutex_);
        publisher = {find(handle), link_};
        if (!publisher.handle)
            return MODULE_STATUS_INVALID_HANDLE;
    }
    NatsLink& link = *publisher.link;
    if (!link.incoming().hasIssued(header))
        return MODULE_STATUS_NOT_FOUND;
    WireMessage message;
    message.kind = WireKind::reply;
    message.process = link.process();
    message.handle = publisher.handle->requester.handle;
    message.header = header;
    message.name = bytesOf(texts.name);
    message.sender = bytesOf(texts.sender);
    message.payload = bytesOf(texts.payload);
    if (const uint32_t status = checkSize(link, message); status != MODULE_STATUS_SUCCESS)
        return status;
    auto charged = charge(publisher, message.size() + bytesPerFrame);
    if (!charged)
        return MODULE_STATUS_NO_MEMORY;
    const std::shared_ptr<IncomingRequest> answered = link.incoming().take(header);
    if (!answered)
        return MODULE_STATUS_SUCCESS;
    std::vector<Frame> frames;
    frames.emplace_back(answered->inbox, std::string_view(), message).charge = std::move(charged);
    link.client().publish(std::move(frames));
    return MODULE_STATUS_SUCCESS;
}

void NatsBus::opening() {
    // Whoever releases the last handle may not have come to closed() yet.
    if (link_)
        return;
    retired_.reserve();
    link_ = std::make_shared<NatsLink>(address_, *this, requests_);
    Platform::LibraryUse::enter();
    keptReported_ = false;
    lossReported_ = false;
}

void NatsBus::closed() {
    if (!link_)
        return;
    outboxes_.clear();
    retired_.add(std::exchange(link_, nullptr));
}

void NatsBus::added(const Subscription& subscription) {
    link_->subscribe(subscription);
}

void NatsBus::removed(const Subscription& subscription) noexcept {
    try {
        link_->unsubscribe(subscription);
    } catch (const std::bad_alloc&) {
        // What the server goes on sending finds no receiver.
    }
}

void NatsBus::subscriptionsChanged(bool isNew) noexcept {
    std::shared_ptr<NatsLink> link;
    {
        Platform::MutexLock lock(mutex_);
        link = link_;
        isNew = isNew && !onOwnThread();
    }
    if (!link)
        return;
    // The handshake tells a server that is away.
    if (isNew)
        link->client().waitForSubscriptions(subscribingTime);
    link->client().flush();
}

void NatsBus::arrived(NatsLink& link, Arrival& arrival) {
    const WireMessage& wire = arrival.message;
    const bool isOwn = wire.process == link.process();
    const auto publication = std::make_shared<Publication>();
    std::vector<SubscriptionIndex::Candidate> candidates;
    std::shared_ptr<MessageAccount> account = account_;
    std::shared_ptr<Outbox> outbox;
    {
        Platform::MutexLock lock(mutex_);
        if (link_.get() != &link)
            return;  // its handles are gone
        index_.collect(arrival.name, publication->receivers, candidates);
        if (publication->receivers.count() != 0 || !candidates.empty()) {
            outbox = outboxOf(wire);
            if (const auto publisher = isOwn ? handles_.find(wire.handle) : nullptr)
                account = publisher->account;
        }
    }
    match(arrival.name, candidates, publication->receivers);
    const size_t count = publication->receivers.count();
    const bool isRequest = wire.kind == WireKind::request;
    if (count == 0) {
        if (isRequest)
            link.refuse(arrival.inbox, MODULE_STATUS_NO_SUBSCRIBERS);
        return;
    }
    // What this process has sent it has paid for before.
    const auto message = QueuedMessage::copy(std::move(account), count, wire.header, wire.name, wire.sender,
                                             wire.payload, isOwn);
    if (!message) {
        reportOnce(lossReported_,
                   u"messages of other processes wait for callbacks in such numbers that "
                   u"further ones are lost.");
        if (isRequest)
            link.refuse(arrival.inbox, MODULE_STATUS_NO_MEMORY);
        return;
    }
    if (isRequest) {
        auto request = std::make_shared<IncomingRequest>(
            arrival.inbox, count, [weak = link.weak_from_this()](const std::string& inbox, uint32_t status) {
                if (const auto requester = weak.lock())
                    requester->refuse(inbox, status);
            });
        link.incoming().add(request, wire.process, wire.sequence, wire.value, message->header);
        publication->request = std::move(request);
    }
    publication->message = message;
    deliver(outbox, publication, WorkerPool::Poster::returns);
}

void NatsBus::replied(RemoteRequest& request, const WireMessage& reply) {
    // The requester has paid for one with its request, as it were: its table bounds them.
    requests_.answer(request, QueuedMessage::copy(account_, 1, reply.header, reply.name, reply.sender,
                                                  reply.payload, true));
}

std::optional<MessageCharge> NatsBus::charge(const Publisher& publisher, size_t bytes) {
    MessageCharge charge(publisher.handle->account, bytes + bytesPerFrame);
    if (charge)
        return charge;
    reportOnce(keptReported_,
               u"so much waits for the server, or for callbacks of this process, that no more "
               u"can be published.");
    return std::nullopt;
}

uint32_t NatsBus::checkSize(NatsLink& link, const WireMessage& message) const {
    const size_t most = link.client().mostPayloadBytes();
    if (message.name.size() / sizeof(char16_t) > mostNameUnits)
        return MODULE_STATUS_INVALID_PARAMETER;
    return most != 0 && message.size() > most ? MODULE_STATUS_INVALID_BUFFER_SIZE : MODULE_STATUS_SUCCESS;
}

const std::shared_ptr<Outbox>& NatsBus::outboxOf(const WireMessage& message) {
    std::shared_ptr<Outbox>& outbox = outboxes_[{message.process, message.handle}];
    // Handles acquired after the last was released have a new pool.
    if (!outbox || outbox->pool != pool())
        outbox = std::make_shared<Outbox>(pool(), calls_, backlogs_);
    if (outboxes_.size() > std::max(outboxSweep_, fewestOutboxesToSweep)) {
        const auto* const kept = &outbox;
        // Only what is delivered from, or has something waiting, is held elsewhere.
        std::erase_if(outboxes_,
                      [&](const auto& each) { return &each.second != kept && each.second.use_count() == 1; });
        outboxSweep_ = 2 * outboxes_.size();
    }
    return outbox;
}

bool NatsBus::hasReceiver(std::u16string_view name) {
    Receivers receivers;
    std::vector<SubscriptionIndex::Candidate> candidates;
    {
        Platform::MutexLock lock(mutex_);
        index_.collect(name, receivers, candidates);
    }
    match(name, candidates, receivers);
    return receivers.count() != 0;
}

void NatsBus::reportOnce(std::atomic<bool>& reported, std::u16string_view text) {
    if (!reported.exchange(true))
        report(text);
}

}  // namespace MessageBus
