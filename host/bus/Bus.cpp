#include "host/bus/Bus.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/DebuggerOutput.h"
#include "platform/ProcessWide.h"
#include "text/Format.h"

namespace EmbeddedBus {

namespace {

// In the opaque fields: "this is ours".
constexpr uint64_t issuedHere = 0x3153554254564552;
constexpr uint32_t routedHere = 0x54554F52;

struct RequestIdentity {
    uint64_t mark;
    uint64_t handle;
    uint64_t cookie;
};
static_assert(sizeof(RequestIdentity) == sizeof(MessageHeader::requestIdentity));

#pragma pack(push, 1)
struct ReplyRoute {
    uint64_t handle;
    uint32_t mark;
};
#pragma pack(pop)
static_assert(sizeof(ReplyRoute) == sizeof(MessageHeader::replyRoute));

uint64_t toId(BrevantBusHandle handle) noexcept {
    return reinterpret_cast<uintptr_t>(handle);
}
BrevantBusHandle toHandle(uint64_t id) noexcept {
    return reinterpret_cast<BrevantBusHandle>(id);
}

template <class Callback>
uintptr_t identityOf(Callback* function) noexcept {
    return reinterpret_cast<uintptr_t>(function);
}

constexpr bool failed(uint32_t status) noexcept {
    return (status & 0x80000000u) != 0;
}

void identify(MessageHeader& header, uint64_t handle, uint64_t cookie) noexcept {
    const RequestIdentity identity{issuedHere, handle, cookie};
    const ReplyRoute route{handle, routedHere};
    std::memcpy(header.requestIdentity, &identity, sizeof identity);
    std::memcpy(header.replyRoute, &route, sizeof route);
    header.requestCookie = cookie;
    header.flags |= BREVANT_MESSAGE_REPLY_REQUESTED;
}

// Whether the reply's fields agree with each other and with what identify writes.
bool readCorrelation(const MessageHeader& header, RequestIdentity& identity) noexcept {
    ReplyRoute route;
    std::memcpy(&identity, header.inReplyTo, sizeof identity);
    std::memcpy(&route, header.replyDestination, sizeof route);
    return identity.mark == issuedHere && route.mark == routedHere && route.handle == identity.handle &&
           header.replyCookie == identity.cookie;
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
void Request::run() noexcept {
    bus.deliverReply(*this);
}

Bus::Bus(const PoolLimits& limits)
    : limits_(limits), account_(std::make_shared<MessageAccount>(busMessageBytes)) {}

uint32_t Bus::acquireHandle(BrevantBusHandle* handle) {
    if (!handle)
        return MODULE_STATUS_INVALID_PARAMETER;
    reap(false);
    auto account = std::make_shared<MessageAccount>(handleMessageBytes, account_);
    Platform::MutexLock lock(mutex_);
    *handle = toHandle(handles_.add([&](uint64_t id) {
        auto entry = std::make_unique<Handle>();
        entry->id = id;
        entry->account = std::move(account);
        return entry;
    }));
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
        for (const auto& [cookie, request] : entry->requests)
            endRequest(*request);
        for (const auto& [id, subscription] : entry->subscriptions)
            endSubscription(*subscription, dropped);
        isLast = handles_.empty();
        mayWait = !onOwnThread();
        if (!mayWait)
            calls_.forEach([&](Call& call) { call.owed |= call.handle == entry->id; });
        if (isLast && pool_) {
            pool_->beginStop();
            retired_.push_back(std::move(pool_));
        }
    }
    if (mayWait) {
        waitForCalls(*entry);
        if (isLast)
            reap(true);
    } else if (isLast) {
        LibraryPin pin = LibraryPin::take();
        Platform::MutexLock lock(mutex_);
        pins_.push_back(std::move(pin));
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
    std::list<Delivery> dropped;
    Platform::MutexLock lock(mutex_);
    Handle* const owner = find(handle);
    if (!owner)
        return MODULE_STATUS_INVALID_HANDLE;
    ended = owner->subscriptions.extract(subscriptionId);
    if (!ended)
        return MODULE_STATUS_NOT_FOUND;
    endSubscription(*ended.mapped(), dropped);
    return MODULE_STATUS_SUCCESS;
}

uint32_t Bus::releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction function) {
    if (!function)
        return MODULE_STATUS_INVALID_PARAMETER;
    Platform::MutexLock lock(mutex_);
    Handle* const owner = find(handle);
    if (!owner)
        return MODULE_STATUS_INVALID_HANDLE;
    std::erase_if(owner->requests, [&](const auto& entry) NO_THREAD_SAFETY_ANALYSIS {
        if (entry.second->replyFunction != function)
            return false;
        endRequest(*entry.second);
        return true;
    });
    noteFunction(*owner, identityOf(function));
    return MODULE_STATUS_SUCCESS;
}

void Bus::reap(bool wait) {
    for (;;) {
        std::shared_ptr<WorkerPool> pool;
        std::vector<LibraryPin> unneeded;
        {
            Platform::MutexLock lock(mutex_);
            if ((retired_.empty() && pins_.empty()) || onOwnThread())
                return;
            const auto next = std::find_if(retired_.begin(), retired_.end(),
                                           [&](const auto& candidate) { return wait || candidate->ended(); });
            if (next != retired_.end())
                pool = *next;
            else if (retired_.empty())
                unneeded.swap(pins_);
        }
        if (!pool)
            return;
        pool->join();
        Platform::MutexLock lock(mutex_);
        if (std::erase(retired_, pool) != 0)
            Platform::LibraryUse::leave();
    }
}

Bus::Handle* Bus::find(BrevantBusHandle handle) const {
    return handles_.find(toId(handle));
}

WorkerPool& Bus::pool() {
    if (!pool_) {
        retired_.reserve(retired_.size() + 1);  // retiring it must not fail
        pool_ = std::make_shared<WorkerPool>(limits_, [this] { return expireRequests(); });
        Platform::LibraryUse::enter();
    }
    return *pool_;
}

uint32_t Bus::send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                   const Answer* answer) {
    Subscriptions receivers;
    std::shared_ptr<MessageAccount> account;
    if (const uint32_t status = findReceivers(handle, texts.name, receivers, account); failed(status))
        return status;
    const uint32_t nobody = answer ? MODULE_STATUS_NO_SUBSCRIBERS : MODULE_STATUS_SUCCESS;
    if (receivers.empty())
        return nobody;
    const auto message = QueuedMessage::copy(std::move(account), receivers.size(), header, texts.name,
                                          texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    const auto request = answer ? std::make_shared<Request>(*this) : nullptr;
    std::list<Delivery> deliveries(receivers.size(), Delivery{message, request});

    Platform::MutexLock lock(mutex_);
    Handle* const publisher = find(handle);
    if (!publisher)
        return MODULE_STATUS_INVALID_HANDLE;
    const auto active = std::count_if(receivers.begin(), receivers.end(),
                                      [](const auto& receiver) { return receiver->active; });
    if (active == 0)
        return nobody;
    if (request && publisher->requests.size() >= handleOpenRequests)
        return MODULE_STATUS_NO_MEMORY;
    pool();
    std::shared_ptr<const Subscription> crowded;
    if (request) {
        openRequest(*publisher, request, *answer, message->header);
        request->openReceivers = static_cast<size_t>(active);
    }
    try {
        for (const auto& receiver : receivers)
            if (receiver->active && enqueue(receiver, publisher->id, deliveries))
                crowded = receiver;
    } catch (...) {
        if (request) {
            endRequest(*request);
            publisher->requests.erase(request->cookie);
        }
        throw;
    }
    lock.unlock();
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
    RequestIdentity identity;
    const bool wellFormed = readCorrelation(header, identity);
    std::shared_ptr<MessageAccount> account;
    {
        Platform::MutexLock lock(mutex_);
        const Handle* const replier = find(handle);
        if (!replier)
            return MODULE_STATUS_INVALID_HANDLE;
        if (!wellFormed || identity.cookie == 0 || identity.cookie > lastCookie_)
            return MODULE_STATUS_NOT_FOUND;
        account = replier->account;
    }
    auto message = QueuedMessage::copy(std::move(account), 1, header, texts.name, texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    Platform::MutexLock lock(mutex_);
    const Handle* const requester = handles_.find(identity.handle);
    if (!requester)
        return MODULE_STATUS_SUCCESS;
    const auto request = requester->requests.find(identity.cookie);
    if (request != requester->requests.end() && request->second->state == Request::State::waiting)
        settle(*request->second, MODULE_STATUS_SUCCESS, std::move(message));
    return MODULE_STATUS_SUCCESS;
}

void Bus::openRequest(Handle& requester, const std::shared_ptr<Request>& request, const Answer& answer,
                      MessageHeader& header) {
    request->handle = requester.id;
    request->cookie = ++lastCookie_;
    request->replyIndex = answer.replyIndex;
    request->replyContext = answer.context;
    request->replyFunction = answer.function;
    noteFunction(requester, identityOf(answer.function));
    const auto deadline = Platform::deadlineAfter(Platform::Clock::steady().now(),
                                                  std::chrono::milliseconds(answer.timeoutMilliseconds));
    requester.requests.emplace(request->cookie, request);
    try {
        request->deadline = deadlines_.emplace(deadline, request);
    } catch (...) {
        requester.requests.erase(request->cookie);
        throw;
    }
    if (request->deadline == deadlines_.begin())
        pool_->setAlarm(deadline);
    identify(header, requester.id, request->cookie);
}

bool Bus::enqueue(const std::shared_ptr<Subscription>& receiver, uint64_t publisher,
                  std::list<Delivery>& deliveries) {
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
        pool_->postMessage(backlog);
        return false;
    }
    receiver->parkedBacklogs.push(backlog);
    return !std::exchange(receiver->boundReported, true);
}

void Bus::noteFunction(Handle& handle, Function function) {
    if (std::ranges::find(handle.functions, function) == handle.functions.end())
        handle.functions.push_back(function);
}

void Bus::beginCall(Call& call, uint64_t handle, Function function) {
    call.handle = handle;
    call.function = function;
    calls_.add(call);
}

void Bus::endCall(Call& call) {
    calls_.remove(call);
    if (waitingForCalls_ != 0)
        callEnded_.notifyAll();
}

void Bus::waitForCalls(const Handle& released) {
    Platform::MutexLock lock(mutex_);
    const auto mustEnd = [&](const Call& call) NO_THREAD_SAFETY_ANALYSIS {
        return call.handle == released.id ||
               (call.owed &&
                std::ranges::find(released.functions, call.function) != released.functions.end());
    };
    ++waitingForCalls_;
    while (calls_.anyOf(mustEnd))
        callEnded_.wait(lock);
    --waitingForCalls_;
}

void Bus::deliverNext(Backlog& backlog) noexcept {
    const Subscription& receiver = *backlog.subscription;
    Delivery delivery;
    Call call;
    {
        Platform::MutexLock lock(mutex_);
        if (backlog.queue.empty())
            return;  // unsubscribed meanwhile
        delivery = std::move(backlog.queue.front());
        backlog.queue.pop_front();
        beginCall(call, receiver.handle, identityOf(receiver.function));
    }
    const QueuedMessage& message = *delivery.message;
    uint32_t status = MODULE_STATUS_UNKNOWN_EXCEPTION;
    try {
        status = receiver.function(receiver.context, &message.header, message.name(), message.sender(),
                                   message.payload());
    } catch (...) {
    }
    Platform::MutexLock lock(mutex_);
    endCall(call);
    if (delivery.request)
        receiverReturned(*delivery.request, status);
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

void Bus::deliverReply(Request& request) noexcept {
    std::shared_ptr<const QueuedMessage> reply;
    Call call;
    {
        Platform::MutexLock lock(mutex_);
        if (request.state != Request::State::answered)
            return;
        request.state = Request::State::ended;
        reply = std::move(request.reply);
        if (Handle* const requester = handles_.find(request.handle))
            requester->requests.erase(request.cookie);
        beginCall(call, request.handle, identityOf(request.replyFunction));
    }
    try {
        request.replyFunction(request.replyContext, request.replyIndex, reply ? &reply->header : nullptr,
                              reply ? reply->name() : nullptr, reply ? reply->sender() : nullptr,
                              reply ? reply->payload() : nullptr, request.replyStatus);
    } catch (...) {
    }
    Platform::MutexLock lock(mutex_);
    endCall(call);
}

void Bus::settle(Request& request, uint32_t status, std::shared_ptr<const QueuedMessage> message) {
    deadlines_.erase(request.deadline);
    request.state = Request::State::answered;
    request.replyStatus = status;
    request.reply = std::move(message);
    pool_->postReply(request.shared_from_this());
}

void Bus::receiverReturned(Request& request, uint32_t status) {
    if (!failed(status))
        request.accepted = true;
    else if (request.firstFailure == 0)
        request.firstFailure = status;
    --request.openReceivers;
    settleWhenRefused(request);
}

void Bus::settleWhenRefused(Request& request) {
    if (request.openReceivers == 0 && !request.accepted && request.state == Request::State::waiting)
        settle(request, request.firstFailure ? request.firstFailure : MODULE_STATUS_NO_SUBSCRIBERS, nullptr);
}

void Bus::endRequest(Request& request) {
    if (request.state == Request::State::waiting)
        deadlines_.erase(request.deadline);
    request.state = Request::State::ended;
    request.reply.reset();
}

void Bus::endSubscription(Subscription& subscription, std::list<Delivery>& dropped) {
    index_.remove(subscription);
    subscription.active = false;
    std::list<Delivery> queued;
    for (const auto& [publisher, backlog] : subscription.backlogs)
        queued.splice(queued.end(), backlog->queue);
    subscription.parkedBacklogs.clear();
    subscription.backlogs.clear();
    for (const Delivery& delivery : queued) {
        if (!delivery.request)
            continue;
        --delivery.request->openReceivers;
        settleWhenRefused(*delivery.request);
    }
    dropped.splice(dropped.end(), queued);
}

Platform::Clock::Time Bus::expireRequests() {
    const auto now = Platform::Clock::steady().now();
    Platform::MutexLock lock(mutex_);
    while (!deadlines_.empty() && deadlines_.begin()->first <= now)
        settle(*deadlines_.begin()->second, MODULE_STATUS_TIMEOUT, nullptr);
    return deadlines_.empty() ? Platform::Clock::Time::max() : deadlines_.begin()->first;
}

bool Bus::onOwnThread() {
    return (pool_ && pool_->isOwnThread()) ||
           std::any_of(retired_.begin(), retired_.end(),
                       [](const auto& pool) { return pool->isOwnThread(); });
}

}  // namespace EmbeddedBus
