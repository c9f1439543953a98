#include "host/bus/common/Backlogs.h"

#include <algorithm>
#include <utility>

#include "host/bus/common/BusLimits.h"
#include "host/bus/common/Outbox.h"
#include "platform/DebuggerOutput.h"
#include "text/Format.h"

namespace MessageBus {

namespace {

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

void Backlog::run(CallSlot& slot) noexcept {
    backlogs.run(*this, slot);
}

bool Backlogs::append(const Outbox& outbox, const std::shared_ptr<Subscription>& receiver,
                      const std::shared_ptr<const Publication>& publication) noexcept {
    Platform::MutexLock lock(mutex_);
    const auto found = receiver->backlogs.find(&outbox);
    if (found == receiver->backlogs.end() || !receiver->active.load())
        return false;
    try {
        found->second->queue.push_back(publication);
        return true;
    } catch (const std::bad_alloc&) {
    }
    // Lost to this receiver: it must neither overtake what waits nor be waited for.
    lock.unlock();
    if (publication->request)
        publication->request->receiverLeft();
    return true;
}

Backlogs::Delivery Backlogs::deliver(const std::shared_ptr<Outbox>& outbox,
                                     const std::shared_ptr<Subscription>& receiver,
                                     const std::shared_ptr<const Publication>& publication,
                                     CallSlot& slot) noexcept {
    // Few workers cannot crowd a subscription.
    if (calls_.slotCount() > subscriptionCallbacks / 2)
        if (const Delivery parked = admit(outbox, receiver, publication, slot); parked != Delivery::made)
            return parked;
    call(*receiver, *publication);
    return Delivery::made;
}

bool Backlogs::openBehind(CallSlot& slot, CallSlot::State seen, const std::shared_ptr<Outbox>& outbox,
                          const std::shared_ptr<Subscription>& receiver) noexcept {
    try {
        Platform::MutexLock lock(mutex_);
        // No driver calls a receiver that has a backlog: the call that was seen has ended.
        if (receiver->backlogs.contains(outbox.get()))
            return false;
        backlogOf(outbox, receiver);
        if (slot.mark(seen, CallSlot::taken))
            return true;
        close(*outbox, *receiver);
    } catch (const std::bad_alloc&) {
    }
    return false;
}

void Backlogs::callReturned(const Outbox& outbox, Subscription& receiver) noexcept {
    Platform::MutexLock lock(mutex_);
    const auto found = receiver.backlogs.find(&outbox);
    if (found == receiver.backlogs.end())
        return;  // unsubscribed meanwhile
    if (found->second->queue.empty()) {
        close(outbox, receiver);
        return;
    }
    const std::shared_ptr<Backlog> next = found->second;
    lock.unlock();
    next->outbox->pool->postMessage(next);
}

void Backlogs::drop(Subscription& receiver) noexcept {
    std::unordered_map<const Outbox*, std::shared_ptr<Backlog>> dropped;
    std::list<std::shared_ptr<const Publication>> publications;
    {
        Platform::MutexLock lock(mutex_);
        dropped.swap(receiver.backlogs);
        receiver.parked.clear();
        receiver.parkedCount = 0;
        for (const auto& [outbox, backlog] : dropped) {
            --backlog->outbox->backlogCount;
            publications.splice(publications.end(), backlog->queue);
        }
    }
    for (const auto& publication : publications)
        if (publication->request)
            publication->request->receiverLeft();
}

void Backlogs::run(Backlog& backlog, CallSlot& slot) noexcept {
    std::shared_ptr<const Publication> publication;
    {
        Platform::MutexLock lock(mutex_);
        if (backlog.queue.empty())
            return;  // unsubscribed meanwhile
        publication = std::move(backlog.queue.front());
        backlog.queue.pop_front();
    }
    Subscription& receiver = *backlog.receiver;
    slot.begin(receiver.call(0));
    if (deliver(backlog.outbox, backlog.receiver, publication, slot) != Delivery::made)
        return;
    calls_.ended(slot.end());
    callEnded(receiver);
    callReturned(*backlog.outbox, receiver);
}

void Backlogs::call(Subscription& receiver, const Publication& publication) noexcept {
    ReceiverReports* const request = publication.request.get();
    if (!receiver.active.load()) {
        if (request)
            request->receiverLeft();
        return;
    }
    const QueuedMessage& message = *publication.message;
    uint32_t status = MODULE_STATUS_UNKNOWN_EXCEPTION;
    try {
        status = receiver.function(receiver.context, &message.header, message.name(), message.sender(),
                                   message.payload());
    } catch (...) {
    }
    if (request)
        request->receiverReturned(status);
}

Backlogs::Delivery Backlogs::admit(const std::shared_ptr<Outbox>& outbox,
                                   const std::shared_ptr<Subscription>& receiver,
                                   const std::shared_ptr<const Publication>& publication, CallSlot& slot) {
    std::list<std::shared_ptr<const Publication>> parked;
    CallSlot::State marks = 0;
    bool reports = false;
    {
        Platform::MutexLock lock(mutex_);
        // Counted up first: either the call that ends sees it, or it is not counted any more here.
        ++receiver->parkedCount;
        if (!receiver->active.load() || calls_.count(receiver.get()) <= subscriptionCallbacks) {
            --receiver->parkedCount;
            return Delivery::made;
        }
        try {
            parked.push_back(publication);
            Backlog& backlog = backlogOf(outbox, receiver);
            backlog.queue.splice(backlog.queue.begin(), parked);
            receiver->parked.push(backlog.shared_from_this());
        } catch (const std::bad_alloc&) {
            --receiver->parkedCount;
            return Delivery::made;  // beyond the bound rather than not at all
        }
        marks = slot.end();
        calls_.ended(marks);
        reports = !std::exchange(receiver->boundReported, true);
    }
    if (reports)
        reportCrowded(*receiver);
    return (marks & CallSlot::taken) != 0 ? Delivery::parkedAndTaken : Delivery::parked;
}

void Backlogs::unpark(Subscription& receiver) noexcept {
    std::shared_ptr<Task> next;
    {
        Platform::MutexLock lock(mutex_);
        next = receiver.parked.pop();
        if (!next)
            return;
        --receiver.parkedCount;
    }
    static_cast<Backlog&>(*next).outbox->pool->postMessage(next);
}

Backlog& Backlogs::backlogOf(const std::shared_ptr<Outbox>& outbox,
                             const std::shared_ptr<Subscription>& receiver) {
    std::shared_ptr<Backlog>& backlog = receiver->backlogs[outbox.get()];
    if (backlog)
        return *backlog;
    try {
        backlog = std::make_shared<Backlog>(*this, outbox, receiver);
    } catch (...) {
        receiver->backlogs.erase(outbox.get());
        throw;
    }
    ++outbox->backlogCount;
    return *backlog;
}

void Backlogs::close(const Outbox& outbox, Subscription& receiver) {
    const auto found = receiver.backlogs.find(&outbox);
    --found->second->outbox->backlogCount;
    receiver.backlogs.erase(found);
}

}  // namespace MessageBus
