// The message bus of one process.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include <brevant/bus.h>

#include "host/bus/BusLimits.h"
#include "host/bus/HandleTable.h"
#include "host/bus/QueuedMessage.h"
#include "host/bus/RequestTable.h"
#include "host/bus/RetiredPools.h"
#include "host/bus/RunningCalls.h"
#include "host/bus/Subscription.h"
#include "host/bus/SubscriptionIndex.h"
#include "host/bus/WorkerPool.h"
#include "platform/ProcessWide.h"
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

    struct Handle {
        Handle(uint64_t id, std::shared_ptr<MessageAccount> pays) noexcept
            : requester{id}, account(std::move(pays)) {}
        Requester requester;
        const std::shared_ptr<MessageAccount> account;
        std::vector<RunningCalls::Function> functions;  // that it has ever given to the bus; few
        std::unordered_map<uint32_t, std::shared_ptr<Subscription>> subscriptions;
        Platform::LibraryUse::Hold use{};
    };
    struct Texts {
        const char16_t* name;
        const char16_t* sender;
        const char16_t* payload;
    };

    Handle* find(BrevantBusHandle handle) const REQUIRES(mutex_);
    const std::shared_ptr<WorkerPool>& pool() REQUIRES(mutex_);

    uint32_t send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                  const Answer* answer);
    uint32_t findReceivers(BrevantBusHandle handle, const char16_t* name, Subscriptions& receivers,
                           std::shared_ptr<MessageAccount>& account);
    uint32_t reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts);
    // Takes the first delivery; what is to be posted for it goes to runnable. True when the subscription
    // reaches its bound for the first time.
    bool enqueue(const std::shared_ptr<Subscription>& receiver, uint64_t publisher,
                 std::list<Delivery>& deliveries, TaskQueue& runnable) REQUIRES(mutex_);
    static void noteFunction(Handle& handle, RunningCalls::Function function);

    void deliverNext(Backlog& backlog) noexcept;
    void backlogRan(Backlog& backlog) REQUIRES(mutex_);
    // What was queued for the subscription goes to dropped.
    void endSubscription(Subscription& subscription, std::list<Delivery>& dropped) REQUIRES(mutex_);
    void leave(const std::list<Delivery>& dropped);
    bool onOwnThread() REQUIRES(mutex_);

    const PoolLimits limits_;
    const std::shared_ptr<MessageAccount> account_;
    RunningCalls calls_;
    RequestTable requests_{calls_};
    // Handles acquired after the last was released get a new pool.
    RetiredPools retired_;

    // Guards the handles and what is subscribed and queued. Held for table work only: no callback and no
    // pattern match runs under it. All other locks of the bus are taken under it.
    Platform::Mutex mutex_;
    HandleTable<Handle> handles_ GUARDED_BY(mutex_);
    SubscriptionIndex index_ GUARDED_BY(mutex_);
    uint32_t lastSubscription_ GUARDED_BY(mutex_) = 0;
    std::shared_ptr<WorkerPool> pool_ GUARDED_BY(mutex_);  // made for the first message
};

}  // namespace EmbeddedBus
