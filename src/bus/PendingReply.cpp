#include "bus/PendingReply.h"

namespace Tavix {

void PendingReply::settle(ReplyOutcome outcome) {
    Platform::MutexLock lock(mutex_);
    if (settled_)
        return;
    settled_ = true;
    outcome_ = std::move(outcome);
    settledCondition_.notifyAll();
}

ReplyWait PendingReply::waitUntil(const Platform::Clock& clock, Platform::Clock::Time deadline) {
    Platform::MutexLock lock(mutex_);
    while (!settled_) {
        if (!clock.waitUntil(settledCondition_, lock, deadline))
            return settled_ ? ReplyWait::ready : ReplyWait::timeout;
    }
    return ReplyWait::ready;
}

ReplyOutcome PendingReply::take() {
    Platform::MutexLock lock(mutex_);
    return std::exchange(outcome_, {});
}

}  // namespace Tavix
