#include "host/bus/common/RequestTable.h"

#include <utility>

#include "host/bus/common/BusLimits.h"

namespace MessageBus {

namespace {

constexpr bool failed(uint32_t status) noexcept {
    return (status & 0x80000000u) != 0;
}

}  // namespace

void Request::run(CallSlot& slot) noexcept {
    table.deliver(*this, slot);
}

void Request::receiverReturned(uint32_t status) noexcept {
    table.receiverReturned(*this, status);
}

void Request::receiverLeft() noexcept {
    table.receiverLeft(*this);
}

uint32_t RequestTable::open(Requester& requester, const std::shared_ptr<Request>& request,
                            MessageHeader& header) {
    const auto deadline = Platform::deadlineAfter(
        Platform::Clock::steady().now(), std::chrono::milliseconds(request->answer.timeoutMilliseconds));
    Platform::MutexLock lock(mutex_);
    if (requester.released)
        return MODULE_STATUS_INVALID_HANDLE;
    if (requester.openCount >= handleOpenRequests)
        return MODULE_STATUS_NO_MEMORY;
    request->cookie = lastCookie_.load(std::memory_order_relaxed) + 1;
    const auto entry = requests_.emplace(request->cookie, request).first;
    try {
        request->deadline = deadlines_.emplace(deadline, request.get());
    } catch (...) {
        requests_.erase(entry);
        throw;
    }
    lastCookie_.store(request->cookie, std::memory_order_relaxed);
    request->requester = &requester;
    request->state = Request::State::waiting;
    requester.open.add(*request);
    ++requester.openCount;
    RequestIdentity{requester.handle, request->cookie}.writeTo(header);
    if (request->deadline == deadlines_.begin())
        request->pool->setAlarm(deadline);
    return MODULE_STATUS_SUCCESS;
}

bool RequestTable::cancel(Request& request) noexcept {
    Platform::MutexLock lock(mutex_);
    if (request.state != Request::State::waiting)
        return false;
    end(request);
    return true;
}

void RequestTable::fail(Request& request, uint32_t status) {
    Platform::MutexLock lock(mutex_);
    if (request.state != Request::State::waiting)
        return;
    auto settled = settle(request, status, nullptr);
    lock.unlock();
    post(std::move(settled));
}

std::shared_ptr<Request> RequestTable::find(uint64_t cookie) {
    Platform::MutexLock lock(mutex_);
    const auto found = requests_.find(cookie);
    return found == requests_.end() ? nullptr : found->second;
}

void RequestTable::reply(const RequestIdentity& identity, std::shared_ptr<const QueuedMessage> message) {
    Platform::MutexLock lock(mutex_);
    const auto found = requests_.find(identity.cookie);
    if (found == requests_.end() || found->second->requester->handle != identity.handle ||
        found->second->state != Request::State::waiting)
        return;
    auto settled = settle(*found->second, MODULE_STATUS_SUCCESS, std::move(message));
    lock.unlock();
    post(std::move(settled));
}

void RequestTable::answer(Request& request, std::shared_ptr<const QueuedMessage> message) {
    Platform::MutexLock lock(mutex_);
    if (request.state != Request::State::waiting)
        return;
    auto settled = settle(request, MODULE_STATUS_SUCCESS, std::move(message));
    lock.unlock();
    post(std::move(settled));
}

void RequestTable::receiverReturned(Request& request, uint32_t status) {
    Platform::MutexLock lock(mutex_);
    if (!failed(status))
        request.accepted = true;
    else if (request.firstFailure == 0)
        request.firstFailure = status;
    --request.openReceivers;
    auto settled = settleWhenRefused(request);
    lock.unlock();
    post(std::move(settled));
}

void RequestTable::receiverLeft(Request& request) {
    Platform::MutexLock lock(mutex_);
    --request.openReceivers;
    auto settled = settleWhenRefused(request);
    lock.unlock();
    post(std::move(settled));
}

Platform::Clock::Time RequestTable::expire() {
    const auto now = Platform::Clock::steady().now();
    Platform::MutexLock lock(mutex_);
    while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
        auto settled = settle(*deadlines_.begin()->second, MODULE_STATUS_TIMEOUT, nullptr);
        lock.unlock();
        post(std::move(settled));
        lock.lock();
    }
    return deadlines_.empty() ? Platform::Clock::Time::max() : deadlines_.begin()->first;
}

void RequestTable::deliver(Request& request, CallSlot& slot) noexcept {
    std::shared_ptr<const QueuedMessage> reply;
    {
        Platform::MutexLock lock(mutex_);
        if (request.state != Request::State::answered)
            return;
        reply = std::move(request.reply);
        // Begun under the lock: who releases the handle finds the request here or the call there.
        slot.begin({request.requester->handle, identityOf(request.answer.function), nullptr});
        end(request);
    }
    try {
        request.answer.function(request.answer.context, request.answer.replyIndex,
                                reply ? &reply->header : nullptr, reply ? reply->name() : nullptr,
                                reply ? reply->sender() : nullptr, reply ? reply->payload() : nullptr,
                                request.replyStatus);
    } catch (...) {
    }
    calls_.ended(slot.end());
}

void RequestTable::release(Requester& requester) {
    Platform::MutexLock lock(mutex_);
    requester.released = true;
    requester.open.forEach([this](Request& request) NO_THREAD_SAFETY_ANALYSIS { end(request); });
}

void RequestTable::releaseFunction(Requester& requester, BrevantReplyFunction function) {
    Platform::MutexLock lock(mutex_);
    requester.open.forEach([&](Request& request) NO_THREAD_SAFETY_ANALYSIS {
        if (request.answer.function == function)
            end(request);
    });
}

std::shared_ptr<Request> RequestTable::settle(Request& request, uint32_t status,
                                              std::shared_ptr<const QueuedMessage> message) {
    deadlines_.erase(request.deadline);
    request.state = Request::State::answered;
    request.replyStatus = status;
    request.reply = std::move(message);
    return request.shared_from_this();
}

std::shared_ptr<Request> RequestTable::settleWhenRefused(Request& request) {
    if (request.openReceivers != 0 || request.accepted || request.state != Request::State::waiting)
        return nullptr;
    return settle(request, request.firstFailure ? request.firstFailure : MODULE_STATUS_NO_SUBSCRIBERS,
                  nullptr);
}

std::shared_ptr<Request> RequestTable::end(Request& request) {
    if (request.state == Request::State::waiting)
        deadlines_.erase(request.deadline);
    request.state = Request::State::ended;
    request.reply.reset();
    request.requester->open.remove(request);
    --request.requester->openCount;
    const auto entry = requests_.extract(request.cookie);
    return std::move(entry.mapped());
}

void RequestTable::post(std::shared_ptr<Request> request) {
    if (!request)
        return;
    const std::shared_ptr<WorkerPool> pool = request->pool;
    pool->postReply(std::move(request));
}

}  // namespace MessageBus
