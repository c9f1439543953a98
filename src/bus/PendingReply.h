// The two sides of a reply that is still to come.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "bus/Message.h"
#include "platform/Clock.h"
#include "platform/Sync.h"

namespace Tavix {

// How a wait for a reply ended; the numbers appear in log records.
enum class ReplyWait : int { ready = 0, timeout = 1 };

// Numbers of the generic error category, fixed by the interface whatever the system's own are.
constexpr int replyCancelled = 105;  // operation cancelled: the bus's own timeout
constexpr int replyMissing = 120;    // no message available
constexpr int replyAbandoned = -1;   // the asking side's promise is gone

// What was promised: a message (which may be empty), or the reason why there is none.
struct ReplyOutcome {
    std::shared_ptr<Message> message;
    int error = 0;
};

// Shared by both sides.
class PendingReply {
public:
    // The first outcome counts.
    void settle(ReplyOutcome outcome);
    ReplyWait waitUntil(const Platform::Clock& clock, Platform::Clock::Time deadline);
    // Once, after a wait that ended ready.
    ReplyOutcome take();

private:
    Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable settledCondition_;
    bool settled_ GUARDED_BY(mutex_) = false;
    ReplyOutcome outcome_ GUARDED_BY(mutex_);
};

// The asked side. Abandons the reply when it ends unsettled.
class ReplyPromise {
public:
    ReplyPromise() : reply_(std::make_shared<PendingReply>()) {}
    ReplyPromise(ReplyPromise&&) noexcept = default;
    ReplyPromise& operator=(ReplyPromise&&) = delete;
    ~ReplyPromise() {
        if (reply_)
            reply_->settle({nullptr, replyAbandoned});
    }

    void settle(ReplyOutcome outcome) { reply_->settle(std::move(outcome)); }
    std::shared_ptr<PendingReply> future() const { return reply_; }

private:
    std::shared_ptr<PendingReply> reply_;
};

}  // namespace Tavix
