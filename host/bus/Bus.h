// The message bus of one process.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include <brevant/bus.h>

#include "host/bus/BusLimits.h"
#include "host/bus/QueuedMessage.h"
#include "host/bus/HandleTable.h"
#include "host/bus/LibraryPin.h"
#include "host/bus/Request.h"
#include "host/bus/Subscription.h"
#include "host/bus/SubscriptionIndex.h"
#include "host/bus/WorkerPool.h"
#include "platform/ProcessWide.h"
#include "platform/StackList.h"
#include "platform/Sync.h"

namespace EmbeddedBus {

// Implements include/brevant/bus.h; what that leaves to the bus:
//  - Texts, headers, functions and out-pointers must not be null: MODULE_STATUS_INVALID_PARAMETER. A handle
//    that is not in use gives MODULE_STATUS_INVALID_HANDLE, a subscription that the handle does not have
//    MODULE_STATUS_NOT_FOUND, and a thread or memory that cannot be had MODULE_STATUS_NO_MEMORY, as do the
//    limits of BusLimits.h.
//  - Publishing to nobody succeeds, and so does a reply to a request that has ended. A reply whose
//    correlation fields this bus never issued gives MODULE_STATUS_NOT_FOUND.
//  - A request whose receivers have all returned a failure is answered with the first of these statuses at
//    once; one whose receivers have all unsubscribed before it reached them, with
//    MODULE_STATUS_NO_SUBSCRIBERS. A receiver that returns success may reply later.
//  - Messages of different publishers to one subscription may be delivered at the same time, up to
//    subscriptionCallbacks.
//  - The alternate forms do what the normal ones do.
//  - Releasing a handle waits until no callback runs that it was the last to promise: none of its own, nor of
//    a handle with the same functions that was released on a bus thread, which cannot wait. A caller that
//    unloads itself afterwards is not called any more. Unsubscribing never waits.
//  - Releasing the last handle ends the bus's threads and waits for them, so that the library can be
//    unloaded; called from one of these threads it cannot, and keeps the library loaded until a later call
//    from outside finds the threads gone (acquiring a handle, releasing the last one, or reap).
class Bus {
public:
    explicit Bus(const PoolLimits& limits = {});
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    struct Answer {
        uint64_t replyIndex;
        void* context;
        BrevantReplyFunction function;
        uint32_t timeoutMilliseconds;
    };

    // They throw std::bad_alloc and std::system_error when memory or a thread cannot be had.
    uint32_t acquireHandle(BrevantBusHandle* handle);
    uint32_t releaseHandle(BrevantBusHandle handle);
    uint32_t publish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                     const char16_t* sender, const char16_t* payload);
    uint32_t request(BrevantBusHandle handle, const Answer& answer, const MessageHeader* header,
                     const char16_t* name, const char16_t* sender, const char16_t* payload);
    uint32_t subscribe(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                       const char16_t* text, bool isPattern);
    uint32_t unsubscribe(BrevantBusHandle handle, uint32_t subscriptionId);
    uint32_t releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction function);

    // Joins threads that earlier releases left behind; with wait, also those that still run a callback.
    // Nothing on the bus's own threads.
    void reap(bool wait);

private:
    friend struct Backlog;
    friend struct Request;

    // A function of one of the two callback types, to be compared.
    using Function = uintptr_t;
    struct Handle {
        uint64_t id;
        std::shared_ptr<MessageAccount> account;
        std::vector<Function> functions;  // that it has ever given to the bus; few
        std::unordered_map<uint32_t, std::shared_ptr<Subscription>> subscriptions;
        std::unordered_map<uint64_t, std::shared_ptr<Request>> requests;
        Platform::LibraryUse::Hold use{};
    };
    // From before a callback is entered until after it has returned.
    struct Call : Platform::StackList<Call>::Link {
        uint64_t handle = 0;
        Function function = 0;
        bool owed = false;  // its handle was released on a bus thread, which has not waited for it
    };
    struct Texts {
        const char16_t* name;
        const char16_t* sender;
        const char16_t* payload;
    };

    Handle* find(BrevantBusHandle handle) const REQUIRES(mutex_);
    WorkerPool& pool() REQUIRES(mutex_);

    uint32_t send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                  const Answer* answer);
    uint32_t findReceivers(BrevantBusHandle handle, const char16_t* name, Subscriptions& receivers,
                           std::shared_ptr<MessageAccount>& account);
    uint32_t reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts);
    void openRequest(Handle& requester, const std::shared_ptr<Request>& request, const Answer& answer,
                     MessageHeader& header) REQUIRES(mutex_);
    // Takes the first delivery. True when the subscription reaches its bound for the first time.
    bool enqueue(const std::shared_ptr<Subscription>& receiver, uint64_t publisher,
                 std::list<Delivery>& deliveries) REQUIRES(mutex_);

    static void noteFunction(Handle& handle, Function function);
    void beginCall(Call& call, uint64_t handle, Function function) REQUIRES(mutex_);
    void endCall(Call& call) REQUIRES(mutex_);
    void waitForCalls(const Handle& released) EXCLUDES(mutex_);

    void deliverNext(Backlog& backlog) noexcept;
    void backlogRan(Backlog& backlog) REQUIRES(mutex_);
    void deliverReply(Request& request) noexcept;

    void settle(Request& request, uint32_t status, std::shared_ptr<const QueuedMessage> message)
        REQUIRES(mutex_);
    void receiverReturned(Request& request, uint32_t status) REQUIRES(mutex_);
    void settleWhenRefused(Request& request) REQUIRES(mutex_);
    void endRequest(Request& request) REQUIRES(mutex_);
    // What was queued for the subscription goes to dropped, to be freed outside the lock.
    void endSubscription(Subscription& subscription, std::list<Delivery>& dropped) REQUIRES(mutex_);
    Platform::Clock::Time expireRequests();
    bool onOwnThread() REQUIRES(mutex_);

    const PoolLimits limits_;
    const std::shared_ptr<MessageAccount> account_;

    // Guards the tables and everything behind them that is not const. Held for table work only: no callback
    // and no pattern match runs under it. The pool's lock is taken under it.
    Platform::Mutex mutex_;
    HandleTable<Handle> handles_ GUARDED_BY(mutex_);
    SubscriptionIndex index_ GUARDED_BY(mutex_);
    Deadlines deadlines_ GUARDED_BY(mutex_);
    Platform::StackList<Call> calls_ GUARDED_BY(mutex_);
    Platform::ConditionVariable callEnded_;
    size_t waitingForCalls_ GUARDED_BY(mutex_) = 0;
    uint64_t lastCookie_ GUARDED_BY(mutex_) = 0;
    uint32_t lastSubscription_ GUARDED_BY(mutex_) = 0;
    // Made for the first message, retired with the last handle. Handles acquired after that get a new one.
    std::shared_ptr<WorkerPool> pool_ GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<WorkerPool>> retired_ GUARDED_BY(mutex_);
    std::vector<LibraryPin> pins_ GUARDED_BY(mutex_);
};

}  // namespace EmbeddedBus
