#pragma once

#include <chrono>
#include <memory>

#include "bus/PendingReply.h"
#include "bus/Reply.h"

namespace Tavix {

// A future that has given its outcome is used up: asked again it counts as invalid.
class ReplyImpl : public Reply {
public:
    // The deadline is counted from here. The clock must outlive the reply.
    ReplyImpl(std::shared_ptr<PendingReply> future, std::chrono::milliseconds timeout,
              const Platform::Clock& clock = Platform::Clock::steady());

    ReplyState getState() const override;
    std::shared_ptr<Message> getMessage() const override;
    ReplyState wait() override;
    ReplyState waitFor(std::chrono::milliseconds duration) override;

private:
    ReplyState getReplyMessage();

    ReplyState state_ = ReplyState::pending;
    std::shared_ptr<Message> replyMessage_;
    std::shared_ptr<PendingReply> future_;
    const Platform::Clock& clock_;
    Platform::Clock::Time deadline_;
};

}  // namespace Tavix
