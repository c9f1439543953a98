#include "bus/ReplyImpl.h"

#include <utility>

#include "logging/Log.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"ReplyImpl";

// What a reply may come later than its deadline.
constexpr std::chrono::seconds grace{1};

Platform::Clock::Time after(Platform::Clock::Time now, std::chrono::milliseconds duration) {
    using Time = Platform::Clock::Time;
    constexpr auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(Time::max());
    if (duration > longest)
        return Time::max();
    return duration.count() <= 0 ? now : Platform::deadlineAfter(now, Time(duration));
}

}  // namespace

ReplyImpl::ReplyImpl(std::shared_ptr<PendingReply> future, std::chrono::milliseconds timeout,
                     const Platform::Clock& clock)
    : future_(std::move(future)), clock_(clock), deadline_(after(clock.now(), timeout)) {}

ReplyState ReplyImpl::getState() const {
    return state_;
}

std::shared_ptr<Message> ReplyImpl::getMessage() const {
    return state_ == ReplyState::received ? replyMessage_ : nullptr;
}

ReplyState ReplyImpl::wait() {
    if (state_ != ReplyState::received)
        state_ = getReplyMessage();
    return state_;
}

ReplyState ReplyImpl::waitFor(std::chrono::milliseconds duration) {
    constexpr std::u16string_view function = u"Tavix::ReplyImpl::waitFor";
    if (!future_) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Reply future is in an invalid state. Returning.");
        state_ = ReplyState::dataError;
        return state_;
    }
    if (future_->waitUntil(clock_, after(clock_.now(), duration)) != ReplyWait::ready) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Reply waitFor timed out. Returning.");  // compat
        return state_;
    }
    state_ = getReplyMessage();
    return state_;
}

ReplyState ReplyImpl::getReplyMessage() {
    constexpr std::u16string_view function = u"Tavix::ReplyImpl::getReplyMessage";
    if (!future_) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Reply future is in an invalid state. Returning.");
        return ReplyState::dataError;
    }
    const ReplyWait ended = future_->waitUntil(clock_, Platform::deadlineAfter(deadline_, grace));
    if (ended != ReplyWait::ready) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Reply future did not get fulfilled on time. Status: %d", ended);
        return ReplyState::dataError;
    }
    ReplyOutcome outcome = std::exchange(future_, nullptr)->take();
    if (outcome.error != 0)
        return outcome.error == replyCancelled ? ReplyState::timedOut : ReplyState::dataError;
    replyMessage_ = std::move(outcome.message);
    return replyMessage_ ? ReplyState::received : ReplyState::dataError;
}

}  // namespace Tavix
