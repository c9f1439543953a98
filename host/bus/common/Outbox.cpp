#include "host/bus/common/Outbox.h"

#include <utility>

namespace MessageBus {

bool Outbox::add(std::shared_ptr<const Publication> publication) {
    Queue added;
    added.push_back(std::move(publication));
    Platform::MutexLock lock(mutex_);
    queue_.splice(queue_.end(), added);
    return !std::exchange(posted_, true);
}

void Outbox::run(CallSlot& slot) noexcept {
    Queue delivered;  // let go of outside the lock
    Platform::MutexLock lock(mutex_);
    driver_ = &slot;
    while (!queue_.empty()) {
        const std::shared_ptr<const Publication>& first = queue_.front();
        const size_t from = std::exchange(nextReceiver_, 0);
        lock.unlock();
        delivered.clear();
        // Nobody else touches the front while this drives.
        if (!drive(first, from, slot))
            return;
        lock.lock();
        delivered.splice(delivered.end(), queue_, queue_.begin());
        if (!queue_.empty() && pool->hasMore()) {
            // In turn with the other publishers.
            driver_ = nullptr;
            lock.unlock();
            pool->postMessage(shared_from_this());
            return;
        }
    }
    driver_ = nullptr;
    posted_ = false;
    lock.unlock();
}

bool Outbox::drive(const std::shared_ptr<const Publication>& publication, size_t from,
                   CallSlot& slot) noexcept {
    // Both outlive the driver's part in it: the front may be another's as soon as the rest is released.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const std::shared_ptr<const Publication> current = publication;
    const std::shared_ptr<Outbox> self = shared_from_this();
    Subscription* called = nullptr;
    // False when the call that has ended was the last for this worker.
    const auto ended = [&](CallSlot::State marks) {
        if (!called)
            return true;
        calls_.ended(marks);
        Subscription& receiver = *std::exchange(called, nullptr);
        backlogs_.callEnded(receiver);
        if ((marks & CallSlot::taken) == 0)
            return true;
        backlogs_.callReturned(*this, receiver);
        return false;
    };
    uint32_t number = static_cast<uint32_t>(from);
    for (Receivers::Position at(current->receivers, from); !at.atEnd(); at.next(), ++number) {
        const std::shared_ptr<Subscription>& receiver = *at;
        if (backlogCount.load(std::memory_order_relaxed) != 0) {
            // What comes now may be another worker's to decide.
            if (!ended(slot.end()))
                return false;
            if (backlogs_.append(*this, receiver, current))
                continue;
        }
        if (!ended(slot.begin(receiver->call(number)))) {
            calls_.ended(slot.end());
            backlogs_.callEnded(*receiver);
            return false;
        }
        switch (backlogs_.deliver(self, receiver, current, slot)) {
            case Backlogs::Delivery::made:
                called = receiver.get();
                break;
            case Backlogs::Delivery::parked:
                break;
            case Backlogs::Delivery::parkedAndTaken:
                return false;
        }
    }
    return ended(slot.end());
}

bool Outbox::releaseRest(CallSlot& slot, CallSlot::State seen) noexcept {
    Platform::MutexLock lock(mutex_);
    if (driver_ != &slot || queue_.empty())
        return false;
    const Receivers& receivers = queue_.front()->receivers;
    const size_t number = CallSlot::positionOf(seen);
    if (number + 1 >= receivers.count() && queue_.size() == 1)
        return false;
    const Receivers::Position at(receivers, number);
    if (at.atEnd() || !backlogs_.openBehind(slot, seen, shared_from_this(), *at))
        return false;
    driver_ = nullptr;
    nextReceiver_ = number + 1;
    return true;
}

}  // namespace MessageBus
