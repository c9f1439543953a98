#include "host/bus/embedded/Bus.h"

#include <algorithm>
#include <utility>

#include "platform/ProcessWide.h"

namespace MessageBus {

namespace {

uint64_t toId(BrevantBusHandle handle) noexcept {
    return reinterpret_cast<uintptr_t>(handle);
}
BrevantBusHandle toHandle(uint64_t id) noexcept {
    return reinterpret_cast<BrevantBusHandle>(id);
}

}  // namespace

Bus::Bus(const PoolLimits& limits)
    : limits_(limits), account_(std::make_shared<MessageAccount>(busMessageBytes)) {}

uint32_t Bus::acquireHandle(BrevantBusHandle* handle) {
    if (!handle)
        return MODULE_STATUS_INVALID_PARAMETER;
    reap(false);
    auto account = std::make_shared<MessageAccount>(handleMessageBytes, account_);
    Platform::MutexLock lock(mutex_);
    *handle =
        toHandle(handles_.add([&](uint64_t id) { return std::make_shared<Handle>(id, std::move(account)); }));
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::releaseHandle(BrevantBusHandle handle) {
    std::shared_ptr<Handle> entry;
    bool isLast = false;
    bool mayWait = false;
    {
        Platform::MutexLock lock(mutex_);
        entry = handles_.take(toId(handle));
        if (!entry)
            return MODULE_STATUS_INVALID_HANDLE;
        for (const auto& [id, subscription] : entry->subscriptions)
            deactivate(*subscription);
        isLast = handles_.empty();
        mayWait = !onOwnThread();
        // Before the pool that watches their deadlines goes: a new pool starts without any.
        requests_.release(entry->requester);
        if (isLast && pool_)
            retired_.add(std::exchange(pool_, nullptr));
    }
    if (!mayWait)
        calls_.owe(entry->requester.handle);
    for (const auto& [id, subscription] : entry->subscriptions)
        backlogs_.drop(*subscription);
    if (mayWait) {
        calls_.waitFor(entry->requester.handle, entry->functions);
        if (isLast)
            reap(true);
    } else if (isLast) {
        retired_.pinLibrary();
    }
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::publish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                      const char16_t* sender, const char16_t* payload) {
    if (!header || !name || !sender || !payload)
        return MODULE_STATUS_INVALID_PARAMETER;
    const MessageHeader fields = brevantReadHeader(header);
    const Texts texts{name, sender, payload};
    return fields.flags & BREVANT_MESSAGE_REPLY ? reply(handle, fields, texts)
                                                : send(handle, fields, texts, nullptr);
}

uint32_t Bus::request(BrevantBusHandle handle, const Answer& answer, const MessageHeader* header,
                      const char16_t* name, const char16_t* sender, const char16_t* payload) {
    if (!answer.function || !header || !name || !sender || !payload)
        return MODULE_STATUS_INVALID_PARAMETER;
    return send(handle, brevantReadHeader(header), {name, sender, payload}, &answer);
}

uint32_t Bus::subscribe(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                        const char16_t* text, bool isPattern) {
    if (!function || !text)
        return 0;
    const auto subscription = std::make_shared<Subscription>();
    subscription->handle = toId(handle);
    subscription->context = context;
    subscription->function = function;
    subscription->text = text;
    if (isPattern)
        subscription->pattern = std::make_shared<const Ferrow::NamePattern>(subscription->text);

    Platform::MutexLock lock(mutex_);
    const std::shared_ptr<Handle> owner = find(handle);
    if (!owner)
        return 0;
    do
        ++lastSubscription_;
    while (lastSubscription_ == 0 || owner->subscriptions.contains(lastSubscription_));
    subscription->id = lastSubscription_;
    noteFunction(*owner, identityOf(function));
    owner->subscriptions.emplace(subscription->id, subscription);
    try {
        index_.add(subscription);
    } catch (...) {
        owner->subscriptions.erase(subscription->id);
        throw;
    }
    return subscription->id;
}

uint32_t Bus::unsubscribe(BrevantBusHandle handle, uint32_t subscriptionId) {
    decltype(Handle::subscriptions)::node_type ended;
    {
        Platform::MutexLock lock(mutex_);
        const std::shared_ptr<Handle> owner = find(handle);
        if (!owner)
            return MODULE_STATUS_INVALID_HANDLE;
        ended = owner->subscriptions.extract(subscriptionId);
        if (!ended)
            return MODULE_STATUS_NOT_FOUND;
        deactivate(*ended.mapped());
    }
    backlogs_.drop(*ended.mapped());
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction function) {
    if (!function)
        return MODULE_STATUS_INVALID_PARAMETER;
    Platform::MutexLock lock(mutex_);
    const std::shared_ptr<Handle> owner = find(handle);
    if (!owner)
        return MODULE_STATUS_INVALID_HANDLE;
    requests_.releaseFunction(owner->requester, function);
    noteFunction(*owner, identityOf(function));
    return MODULE_STATUS_SUCCESS;
}

void Bus::reap(bool wait) {
    {
        Platform::MutexLock lock(mutex_);
        if (onOwnThread())
            return;
    }
    retired_.reap(wait);
}

std::shared_ptr<Bus::Handle> Bus::find(BrevantBusHandle handle) const {
    return handles_.find(toId(handle));
}

const std::shared_ptr<WorkerPool>& Bus::pool() {
    if (!pool_) {
        retired_.reserve();  // retiring it must not fail
        pool_ = std::make_shared<WorkerPool>(limits_, calls_, [this] { return requests_.expire(); });
        Platform::LibraryUse::enter();
    }
    return pool_;
}

uint32_t Bus::send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                   const Answer* answer) {
    const auto publication = std::make_shared<Publication>();
    Receivers& receivers = publication->receivers;
    std::vector<SubscriptionIndex::Candidate> candidates;
    std::shared_ptr<Handle> publisher;
    std::shared_ptr<Outbox> outbox;
    {
        Platform::MutexLock lock(mutex_);
        publisher = find(handle);
        if (!publisher)
            return MODULE_STATUS_INVALID_HANDLE;
        index_.collect(texts.name, receivers, candidates);
        if (receivers.count() != 0 || !candidates.empty()) {
            if (!publisher->outbox)
                publisher->outbox = std::make_shared<Outbox>(pool(), calls_, backlogs_);
            outbox = publisher->outbox;
            if (answer)
                noteFunction(*publisher, identityOf(answer->function));
        }
    }
    const Ferrow::MatchName name(texts.name);
    for (const auto& candidate : candidates)
        if (candidate.pattern->matches(name))
            receivers.add(candidate.receivers);
    if (receivers.count() == 0)
        return answer ? MODULE_STATUS_NO_SUBSCRIBERS : MODULE_STATUS_SUCCESS;
    const auto message = QueuedMessage::copy(publisher->account, receivers.count(), header, texts.name,
                                             texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    publication->message = message;
    Outbox::Queue queued;
    queued.push_back(publication);
    if (answer) {
        publication->request = std::make_shared<Request>(requests_, outbox->pool, *answer, receivers.count());
        // From here on nothing fails: the request may be answered.
        if (const uint32_t status =
                requests_.open(publisher->requester, publication->request, message->header);
            status != MODULE_STATUS_SUCCESS)
            return status;
    }
    const bool posts = outbox->add(std::move(queued));
    const size_t count = receivers.count();
    if (posts)
        outbox->pool->postMessage(outbox, answer ? WorkerPool::Poster::waits : WorkerPool::Poster::returns);
    else if (answer)
        outbox->pool->posterWaits();
    if (!posts || count > 1)
        outbox->pool->watch();
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) {
    std::shared_ptr<MessageAccount> account;
    {
        Platform::MutexLock lock(mutex_);
        const std::shared_ptr<Handle> replier = find(handle);
        if (!replier)
            return MODULE_STATUS_INVALID_HANDLE;
        account = replier->account;
    }
    RequestIdentity identity{};
    if (!identity.readFrom(header) || !requests_.hasIssued(identity))
        return MODULE_STATUS_NOT_FOUND;
    auto message =
        QueuedMessage::copy(std::move(account), 1, header, texts.name, texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    requests_.reply(identity, std::move(message));
    return MODULE_STATUS_SUCCESS;
}

void Bus::noteFunction(Handle& handle, CallbackIdentity function) {
    if (std::ranges::find(handle.functions, function) == handle.functions.end())
        handle.functions.push_back(function);
}

void Bus::deactivate(Subscription& subscription) noexcept {
    subscription.active.store(false);
    try {
        index_.remove(subscription);
    } catch (const std::bad_alloc&) {
        // It stays in the index, where nobody calls it.
    }
}

bool Bus::onOwnThread() {
    return (pool_ && pool_->isOwnThread()) || retired_.isOwnThread();
}

}  // namespace MessageBus
