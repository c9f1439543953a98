#include "host/bus/Bus.h"

#include <algorithm>
#include <utility>

#include "platform/DebuggerOutput.h"
#include "platform/ProcessWide.h"
#include "text/Format.h"

namespace EmbeddedBus {

namespace {

uint64_t toId(BrevantBusHandle handle) noexcept {
    return reinterpret_cast<uintptr_t>(handle);
}
BrevantBusHandle toHandle(uint64_t id) noexcept {
    return reinterpret_cast<BrevantBusHandle>(id);
}

// Names hold what alerts are called, and this may end up on a terminal.
void reportCrowded(const Subscription& subscription) noexcept {
    constexpr size_t mostUnits = 200;
    try {
        std::u16string text = subscription.text.substr(0, mostUnits);
        std::replace_if(
            text.begin(), text.end(), [](char16_t unit) { return unit < u' ' || unit > u'~'; }, u'?');
        Platform::writeToDebugger(
            Ferrow::formatText(u"MessageBus: %zu callbacks of the subscription to \"%ls\" have not returned; "
                               u"what other publishers send now has to wait.\n",
                               subscriptionCallbacks, text));
    } catch (...) {
    }
}

}  // namespace

void Backlog::run() noexcept {
    bus.deliverNext(*this);
}

Bus::Bus(const PoolLimits& limits)
    : limits_(limits), account_(std::make_shared<MessageAccount>(busMessageBytes)) {}

uint32_t Bus::acquireHandle(BrevantBusHandle* handle) {
    if (!handle)
        return MODULE_STATUS_INVALID_PARAMETER;
    reap(false);
    auto account = std::make_shared<MessageAccount>(handleMessageBytes, account_);
    Platform::MutexLock lock(mutex_);
    *handle =
        toHandle(handles_.add([&](uint64_t id) { return std::make_unique<Handle>(id, std::move(account)); }));
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::releaseHandle(BrevantBusHandle handle) {
    std::unique_ptr<Handle> entry;
    std::list<Delivery> dropped;
    bool isLast = false;
    bool mayWait = false;
    {
        Platform::MutexLock lock(mutex_);
        entry = handles_.take(toId(handle));
        if (!entry)
            return MODULE_STATUS_INVALID_HANDLE;
        requests_.release(entry->requester);
        for (const auto& [id, subscription] : entry->subscriptions)
            endSubscription(*subscription, dropped);
        isLast = handles_.empty();
        mayWait = !onOwnThread();
        if (!mayWait)
            calls_.owe(entry->requester.handle);
        if (isLast && pool_)
            retired_.add(std::move(pool_));
    }
    leave(dropped);
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
        subscription->pattern.emplace(subscription->text);

    Platform::MutexLock lock(mutex_);
    Handle* const owner = find(handle);
    if (!owner)
        return 0;
    do
        ++lastSubscription_;
    while (lastSubscription_ == 0 || owner->subscriptions.contains(lastSubscription_));
    subscription->id = lastSubscription_;
    noteFunction(*owner, RunningCalls::identityOf(function));
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
    std::list<Delivery> dropped;
    {
        Platform::MutexLock lock(mutex_);
        Handle* const owner = find(handle);
        if (!owner)
            return MODULE_STATUS_INVALID_HANDLE;
        ended = owner->subscriptions.extract(subscriptionId);
        if (!ended)
            return MODULE_STATUS_NOT_FOUND;
        endSubscription(*ended.mapped(), dropped);
    }
    leave(dropped);
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction function) {
    if (!function)
        return MODULE_STATUS_INVALID_PARAMETER;
    Platform::MutexLock lock(mutex_);
    Handle* const owner = find(handle);
    if (!owner)
        return MODULE_STATUS_INVALID_HANDLE;
    requests_.releaseFunction(owner->requester, function);
    noteFunction(*owner, RunningCalls::identityOf(function));
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

Bus::Handle* Bus::find(BrevantBusHandle handle) const {
    return handles_.find(toId(handle));
}

const std::shared_ptr<WorkerPool>& Bus::pool() {
    if (!pool_) {
        retired_.reserve();  // retiring it must not fail
        pool_ = std::make_shared<WorkerPool>(limits_, [this] { return requests_.expire(); });
        Platform::LibraryUse::enter();
    }
    return pool_;
}

uint32_t Bus::send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                   const Answer* answer) {
    Subscriptions receivers;
    std::shared_ptr<MessageAccount> account;
    if (const uint32_t status = findReceivers(handle, texts.name, receivers, account);
        status != MODULE_STATUS_SUCCESS)
        return status;
    const uint32_t nobody = answer ? MODULE_STATUS_NO_SUBSCRIBERS : MODULE_STATUS_SUCCESS;
    if (receivers.empty())
        return nobody;
    const auto message = QueuedMessage::copy(std::move(account), receivers.size(), header, texts.name,
                                             texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;

    Platform::MutexLock lock(mutex_);
    Handle* const publisher = find(handle);
    if (!publisher)
        return MODULE_STATUS_INVALID_HANDLE;
    std::erase_if(receivers, [](const auto& receiver) { return !receiver->active; });
    if (receivers.empty())
        return nobody;
    std::shared_ptr<Request> request;
    if (answer) {
        request = std::make_shared<Request>(requests_, pool(), *answer, receivers.size());
        noteFunction(*publisher, RunningCalls::identityOf(answer->function));
        if (const uint32_t status = requests_.open(publisher->requester, request, message->header);
            status != MODULE_STATUS_SUCCESS)
            return status;
    }
    std::shared_ptr<const Subscription> crowded;
    TaskQueue runnable;
    try {
        pool();
        std::list<Delivery> deliveries(receivers.size(), Delivery{message, request});
        for (const auto& receiver : receivers)
            if (enqueue(receiver, publisher->requester.handle, deliveries, runnable))
                crowded = receiver;
    } catch (...) {
        if (request)
            requests_.cancel(*request);
        // What has been queued is delivered.
        if (!runnable.empty())
            pool_->postMessages(runnable);
        throw;
    }
    const std::shared_ptr<WorkerPool> posted = pool_;
    lock.unlock();
    if (!runnable.empty())
        posted->postMessages(runnable, answer ? WorkerPool::Poster::waits : WorkerPool::Poster::returns);
    if (crowded)
        reportCrowded(*crowded);
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::findReceivers(BrevantBusHandle handle, const char16_t* name, Subscriptions& receivers,
                            std::shared_ptr<MessageAccount>& account) {
    Subscriptions candidates;
    {
        Platform::MutexLock lock(mutex_);
        const Handle* const publisher = find(handle);
        if (!publisher)
            return MODULE_STATUS_INVALID_HANDLE;
        account = publisher->account;
        index_.collect(name, receivers, candidates);
    }
    const Ferrow::MatchName matchName(name);
    for (auto& candidate : candidates)
        if (candidate->pattern->matches(matchName))
            receivers.push_back(std::move(candidate));
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) {
    std::shared_ptr<MessageAccount> account;
    {
        Platform::MutexLock lock(mutex_);
        const Handle* const replier = find(handle);
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

bool Bus::enqueue(const std::shared_ptr<Subscription>& receiver, uint64_t publisher,
                  std::list<Delivery>& deliveries, TaskQueue& runnable) {
    std::shared_ptr<Backlog>& backlog = receiver->backlogs[publisher];
    if (backlog) {
        backlog->queue.splice(backlog->queue.end(), deliveries, deliveries.begin());
        return false;
    }
    try {
        backlog = std::make_shared<Backlog>(*this, receiver, publisher);
    } catch (...) {
        receiver->backlogs.erase(publisher);
        throw;
    }
    backlog->queue.splice(backlog->queue.end(), deliveries, deliveries.begin());
    if (receiver->runnableBacklogs < subscriptionCallbacks) {
        ++receiver->runnableBacklogs;
        runnable.push(backlog);
        return false;
    }
    receiver->parkedBacklogs.push(backlog);
    return !std::exchange(receiver->boundReported, true);
}

void Bus::noteFunction(Handle& handle, RunningCalls::Function function) {
    if (std::ranges::find(handle.functions, function) == handle.functions.end())
        handle.functions.push_back(function);
}

void Bus::deliverNext(Backlog& backlog) noexcept {
    const Subscription& receiver = *backlog.subscription;
    Delivery delivery;
    RunningCalls::Call call;
    {
        Platform::MutexLock lock(mutex_);
        if (backlog.queue.empty())
            return;  // unsubscribed meanwhile
        delivery = std::move(backlog.queue.front());
        backlog.queue.pop_front();
        // Begun under the lock: who releases the handle finds the delivery here or the call there.
        calls_.begin(call, receiver.handle, RunningCalls::identityOf(receiver.function));
    }
    const QueuedMessage& message = *delivery.message;
    uint32_t status = MODULE_STATUS_UNKNOWN_EXCEPTION;
    try {
        status = receiver.function(receiver.context, &message.header, message.name(), message.sender(),
                                   message.payload());
    } catch (...) {
    }
    calls_.end(call);
    if (delivery.request)
        requests_.receiverReturned(*delivery.request, status);
    Platform::MutexLock lock(mutex_);
    backlogRan(backlog);
}

void Bus::backlogRan(Backlog& backlog) {
    Subscription& receiver = *backlog.subscription;
    if (!receiver.active)
        return;
    std::shared_ptr<Task> next = receiver.parkedBacklogs.pop();
    if (backlog.queue.empty())
        receiver.backlogs.erase(backlog.publisher);
    else if (next)
        receiver.parkedBacklogs.push(backlog.shared_from_this());
    else
        next = backlog.shared_from_this();
    if (next)
        pool_->postMessage(std::move(next));
    else
        --receiver.runnableBacklogs;
}

void Bus::endSubscription(Subscription& subscription, std::list<Delivery>& dropped) {
    index_.remove(subscription);
    subscription.active = false;
    for (const auto& [publisher, backlog] : subscription.backlogs)
        dropped.splice(dropped.end(), backlog->queue);
    subscription.parkedBacklogs.clear();
    subscription.backlogs.clear();
}

void Bus::leave(const std::list<Delivery>& dropped) {
    for (const Delivery& delivery : dropped)
        if (delivery.request)
            requests_.receiverLeft(*delivery.request);
}

bool Bus::onOwnThread() {
    return (pool_ && pool_->isOwnThread()) || retired_.isOwnThread();
}

}  // namespace EmbeddedBus
