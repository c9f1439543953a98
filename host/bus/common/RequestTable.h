// The requests that are not answered yet.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "host/bus/common/Request.h"
#include "host/bus/common/RequestIdentity.h"
#include "host/bus/common/RunningCalls.h"
#include "platform/StackList.h"
#include "platform/Sync.h"

namespace MessageBus {

// The requests of one handle. Belongs to the table's lock, but for the id.
struct Requester {
    const uint64_t handle;
    Platform::StackList<Request> open{};
    size_t openCount = 0;
    bool released = false;
};

// Any thread. The alarm is to be set for the table's pools: they call expire.
class RequestTable {
public:
    explicit RequestTable(RunningCalls& calls) noexcept : calls_(calls) {}

    // From here on the request may be answered. Its cookie goes into the header.
    // MODULE_STATUS_INVALID_HANDLE when the requester is released, MODULE_STATUS_NO_MEMORY when it waits for
    // too many.
    uint32_t open(Requester& requester, const std::shared_ptr<Request>& request, MessageHeader& header);
    // Ends a request whose message could not be sent. False when it has been answered already.
    bool cancel(Request& request) noexcept;
    // Answers it with a failure, unless it is answered or has ended.
    void fail(Request& request, uint32_t status);
    // Null when there is none, or it has ended.
    std::shared_ptr<Request> find(uint64_t cookie);

    // Whether a request was ever given this identity.
    bool hasIssued(const RequestIdentity& identity) const noexcept {
        return identity.cookie <= lastCookie_.load(std::memory_order_relaxed);
    }
    // Dropped when the request has ended.
    void reply(const RequestIdentity& identity, std::shared_ptr<const QueuedMessage> message);
    void answer(Request& request, std::shared_ptr<const QueuedMessage> message);
    void receiverReturned(Request& request, uint32_t status);
    // The subscription ended before the request reached it.
    void receiverLeft(Request& request);
    // Answers the requests whose time has come; returns that of the next.
    Platform::Clock::Time expire();
    // Calls the reply function, unless the request has ended meanwhile.
    void deliver(Request& request, CallSlot& slot) noexcept;

    // Their requests end without a call. A released requester opens none any more.
    void release(Requester& requester);
    void releaseFunction(Requester& requester, BrevantReplyFunction function);

private:
    // What is returned is to be posted once the lock is released.
    [[nodiscard]] std::shared_ptr<Request> settle(Request& request, uint32_t status,
                                                  std::shared_ptr<const QueuedMessage> message)
        REQUIRES(mutex_);
    [[nodiscard]] std::shared_ptr<Request> settleWhenRefused(Request& request) REQUIRES(mutex_);
    // What is returned keeps it alive.
    std::shared_ptr<Request> end(Request& request) REQUIRES(mutex_);
    static void post(std::shared_ptr<Request> request);

    RunningCalls& calls_;
    std::atomic<uint64_t> lastCookie_{0};

    // Guards the requests and their requesters. Taken under the bus's; no callback runs under it and nothing
    // is posted. A pool's alarm is set under it.
    Platform::Mutex mutex_;
    std::unordered_map<uint64_t, std::shared_ptr<Request>> requests_ GUARDED_BY(mutex_);  // by cookie
    Deadlines deadlines_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
