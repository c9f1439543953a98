#include "host/bus/common/Bus.h"

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

Bus::~Bus() = default;

uint32_t Bus::acquireHandle(BrevantBusHandle* handle) {
    if (!handle)
        return MODULE_STATUS_INVALID_PARAMETER;
    reap(false);
    auto account = std::make_shared<MessageAccount>(handleMessageBytes, account_);
    Platform::MutexLock lock(mutex_);
    if (handles_.empty())
        opening();
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
    subscriptionsChanged(false);
    if (mayWait)
        calls_.waitFor(entry->requester.handle, entry->functions);
    if (isLast) {
        Platform::MutexLock lock(mutex_);
        if (handles_.empty())
            closed();
    }
    if (mayWait) {
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
    try {
        added(*subscription);
    } catch (...) {
        index_.remove(*subscription);
        owner->subscriptions.erase(subscription->id);
        throw;
    }
    const uint32_t id = subscription->id;
    lock.unlock();
    subscriptionsChanged(true);
    return id;
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
    subscriptionsChanged(false);
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

void Bus::match(std::u16string_view name, const std::vector<SubscriptionIndex::Candidate>& candidates,
                Receivers& receivers) {
    const Ferrow::MatchName matched(name);
    for (const auto& candidate : candidates)
        if (candidate.pattern->matches(matched))
            receivers.add(candidate.receivers);
}

void Bus::deliver(const std::shared_ptr<Outbox>& outbox, std::shared_ptr<const Publication> publication,
                  WorkerPool::Poster poster) {
    const size_t count = publication->receivers.count();
    const bool posts = outbox->add(std::move(publication));
    if (posts)
        outbox->pool->postMessage(outbox, poster);
    else if (poster == WorkerPool::Poster::waits)
        outbox->pool->posterWaits();
    if (!posts || count > 1)
        outbox->pool->watch();
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
    removed(subscription);
}

bool Bus::onOwnThread() {
    return (pool_ && pool_->isOwnThread()) || retired_.isOwnThread();
}

}  // namespace MessageBus
