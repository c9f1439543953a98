// The handles and subscriptions of a bus, whatever carries its messages.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include <brevant/bus.h>

#include "host/bus/common/Backlogs.h"
#include "host/bus/common/BusLimits.h"
#include "host/bus/common/HandleTable.h"
#include "host/bus/common/Outbox.h"
#include "host/bus/common/Publication.h"
#include "host/bus/common/QueuedMessage.h"
#include "host/bus/common/RequestTable.h"
#include "host/bus/common/RetiredThreads.h"
#include "host/bus/common/RunningCalls.h"
#include "host/bus/common/Subscription.h"
#include "host/bus/common/SubscriptionIndex.h"
#include "host/bus/common/WorkerPool.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"

namespace MessageBus {

// Implements include/brevant/bus.h over what a transport adds. What that leaves to the bus:
//
//  an argument or a state                                    | what the entry gives
//  a text, header, function or out-pointer is null           | MODULE_STATUS_INVALID_PARAMETER
//  the handle is not in use                                  | MODULE_STATUS_INVALID_HANDLE
//  the handle has no such subscription                       | MODULE_STATUS_NOT_FOUND
//  no thread or memory is to be had, a limit is reached      | MODULE_STATUS_NO_MEMORY (BusLimits.h)
//  publish: nobody subscribes; the request has ended         | success
//  publish: a reply with fields that this bus never issued   | MODULE_STATUS_NOT_FOUND
//  publishAlternate, requestAlternate                        | as publish and request
//
//  what the receivers of a request do                        | what its reply function gets
//  all return failures                                       | the first of these, at once
//  all unsubscribe before the request reaches them           | MODULE_STATUS_NO_SUBSCRIBERS
//  one returns success                                       | its reply, now or later
//
//  - Messages of one publisher are delivered to one receiver after the other, in the order of publishing.
//  When
//    a callback lasts, the other receivers and later messages do not wait for it: see Outbox. Messages of
//    different publishers are delivered at the same time, up to subscriptionCallbacks for one subscription.
//  - releaseHandle outside callbacks returns when no callback of the handle runs, nor one of a handle with
//  the
//    same functions that was released inside a callback. Inside a callback, and in unsubscribe, nothing
//    waits.
//  - The release of the last handle ends the bus's threads and waits for them. Inside a callback it cannot:
//    then the library stays loaded until acquireHandle, the release of a last handle or reap, called outside
//    callbacks, finds the threads gone.
class Bus {
public:
    virtual ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // They throw std::bad_alloc and std::system_error when memory or a thread cannot be had.
    virtual uint32_t acquireHandle(BrevantBusHandle* handle);
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

protected:
    struct Handle {
        Handle(uint64_t id, std::shared_ptr<MessageAccount> pays) noexcept
            : requester{id}, account(std::move(pays)) {}
        Requester requester;
        const std::shared_ptr<MessageAccount> account;
        std::vector<CallbackIdentity> functions;  // that it has ever given to the bus; few
        std::unordered_map<uint32_t, std::shared_ptr<Subscription>> subscriptions;
        std::shared_ptr<Outbox> outbox;  // made for its first message
        Platform::LibraryUse::Hold use{};
    };
    struct Texts {
        const char16_t* name;
        const char16_t* sender;
        const char16_t* payload;
    };

    explicit Bus(const PoolLimits& limits);

    // What a transport does. Without answer the message is a plain one.
    virtual uint32_t send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                          const Answer* answer) = 0;
    virtual uint32_t reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) = 0;
    // The first handle is about to be acquired; the last has been released, and all that its subscriptions
    // had waiting is dropped.
    virtual void opening() REQUIRES(mutex_) {}
    virtual void closed() REQUIRES(mutex_) {}
    // The subscription stands in the index, or has left it.
    virtual void added(const Subscription&) REQUIRES(mutex_) {}
    virtual void removed(const Subscription&) noexcept REQUIRES(mutex_) {}
    // After calls of these two, outside the lock; after added, subscribe returns then.
    virtual void subscriptionsChanged(bool /*isNew*/) noexcept {}
    // Inside a callback.
    bool onOwnThread() REQUIRES(mutex_);

    std::shared_ptr<Handle> find(BrevantBusHandle handle) const REQUIRES(mutex_);
    const std::shared_ptr<WorkerPool>& pool() REQUIRES(mutex_);
    static void noteFunction(Handle& handle, CallbackIdentity function);
    // Has the patterns among the candidates add their receivers.
    static void match(std::u16string_view name, const std::vector<SubscriptionIndex::Candidate>& candidates,
                      Receivers& receivers);
    // Has the publisher's receivers called, in turn.
    static void deliver(const std::shared_ptr<Outbox>& outbox, std::shared_ptr<const Publication> publication,
                        WorkerPool::Poster poster);

    const PoolLimits limits_;
    const std::shared_ptr<MessageAccount> account_;
    RunningCalls calls_;
    RequestTable requests_{calls_};
    Backlogs backlogs_{calls_};
    // Handles acquired after the last was released get a new pool.
    RetiredThreads retired_;

    // Guards the handles and the index; once for each message. Held for table work only: no callback and no
    // pattern match runs under it. The locks of what is retired, of a pool and of a transport are taken under
    // it.
    Platform::Mutex mutex_;
    HandleTable<Handle> handles_ GUARDED_BY(mutex_);
    SubscriptionIndex index_ GUARDED_BY(mutex_);
    uint32_t lastSubscription_ GUARDED_BY(mutex_) = 0;
    std::shared_ptr<WorkerPool> pool_ GUARDED_BY(mutex_);  // made for the first message

private:
    void deactivate(Subscription& subscription) noexcept REQUIRES(mutex_);
};

}  // namespace MessageBus
