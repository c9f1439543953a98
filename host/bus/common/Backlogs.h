// Deliveries that cannot be made in turn.
#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "host/bus/common/Publication.h"
#include "host/bus/common/RunningCalls.h"
#include "host/bus/common/Subscription.h"
#include "host/bus/common/Task.h"
#include "platform/Sync.h"

namespace MessageBus {

class Backlogs;

// What one publisher has for one subscription while an earlier message of his to it is still being handled,
// or while as many callbacks of the subscription run as may. Later ones go behind it until it is empty. Run
// as a task, it delivers the first.
struct Backlog : Task, std::enable_shared_from_this<Backlog> {
    Backlog(Backlogs& owner, std::shared_ptr<Outbox> publisher,
            std::shared_ptr<Subscription> subscription) noexcept
        : backlogs(owner), outbox(std::move(publisher)), receiver(std::move(subscription)) {}
    void run(CallSlot& slot) noexcept override;

    Backlogs& backlogs;
    const std::shared_ptr<Outbox> outbox;
    const std::shared_ptr<Subscription> receiver;
    std::list<std::shared_ptr<const Publication>> queue;  // belongs to the backlogs' lock
};

// Any thread.
class Backlogs {
public:
    explicit Backlogs(RunningCalls& calls) noexcept : calls_(calls) {}

    // Behind what the outbox already has waiting for the receiver. False when nothing waits, or need not any
    // more.
    bool append(const Outbox& outbox, const std::shared_ptr<Subscription>& receiver,
                const std::shared_ptr<const Publication>& publication) noexcept;
    // For a call that is announced in the slot: makes it, and tells the request. When the receiver is crowded
    // the publication waits in a backlog instead and the slot is ended.
    enum class Delivery { made, parked, parkedAndTaken };
    Delivery deliver(const std::shared_ptr<Outbox>& outbox, const std::shared_ptr<Subscription>& receiver,
                     const std::shared_ptr<const Publication>& publication, CallSlot& slot) noexcept;
    // Opens the backlog of a receiver whose call another worker is making, and marks that call. False when
    // the call has ended, or memory is short.
    bool openBehind(CallSlot& slot, CallSlot::State seen, const std::shared_ptr<Outbox>& outbox,
                    const std::shared_ptr<Subscription>& receiver) noexcept;
    // That call has returned.
    void callReturned(const Outbox& outbox, Subscription& receiver) noexcept;
    // A call of the receiver has ended in its slot: one that is parked may go on.
    void callEnded(Subscription& receiver) noexcept {
        if (receiver.parkedCount.load() != 0)
            unpark(receiver);
    }
    // The subscription has become inactive. Its requests learn of it.
    void drop(Subscription& receiver) noexcept;

private:
    friend struct Backlog;

    void run(Backlog& backlog, CallSlot& slot) noexcept;
    void call(Subscription& receiver, const Publication& publication) noexcept;
    // Made when the announced call is one of the few that may be made.
    Delivery admit(const std::shared_ptr<Outbox>& outbox, const std::shared_ptr<Subscription>& receiver,
                   const std::shared_ptr<const Publication>& publication, CallSlot& slot);
    void unpark(Subscription& receiver) noexcept;
    Backlog& backlogOf(const std::shared_ptr<Outbox>& outbox, const std::shared_ptr<Subscription>& receiver)
        REQUIRES(mutex_);
    void close(const Outbox& outbox, Subscription& receiver) REQUIRES(mutex_);

    RunningCalls& calls_;
    // Taken under an outbox's lock; nothing but the running calls' lock is taken under it.
    Platform::Mutex mutex_;
};

}  // namespace MessageBus
