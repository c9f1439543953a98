#include "host/bus/nats/RemoteRequest.h"

#include <algorithm>

namespace MessageBus {

namespace {

// How long the processes of the bus have to answer a census.
constexpr std::chrono::milliseconds censusTime{250};

}  // namespace

bool RemoteRequest::waitForTaking(Platform::Clock::Time until) {
    Platform::MutexLock lock(mutex_);
    while (!isGone() && confirmedCount_ < gone_.size() &&
           Platform::Clock::steady().waitUntil(changed_, lock, until))
        ;
    return !isGone();
}

void RemoteRequest::waitUntil(Platform::Clock::Time time) {
    Platform::MutexLock lock(mutex_);
    while (Platform::Clock::steady().waitUntil(changed_, lock, time))
        ;
}

uint32_t RemoteRequest::endWaiting() {
    Platform::MutexLock lock(mutex_);
    isWaiting_ = false;
    return isGone() ? failureStatus() : MODULE_STATUS_SUCCESS;
}

void RemoteRequest::confirmed() noexcept {
    Platform::MutexLock lock(mutex_);
    ++confirmedCount_;
    changed_.notifyAll();
}

void RemoteRequest::denied(uint32_t status) noexcept {
    Platform::MutexLock lock(mutex_);
    if (firstFailure_ == 0)
        firstFailure_ = status;
    // Which copy it was does not matter any more.
    const auto copy = std::ranges::find(gone_, false);
    if (copy != gone_.end())
        copyGone(static_cast<size_t>(copy - gone_.begin()));
}

ProcessId RemoteRequest::nobodyThere(size_t copy) {
    Platform::MutexLock lock(mutex_);
    if (copy >= gone_.size())
        return {};
    if (!gone_[copy])
        copyGone(copy);
    return to_[copy];
}

RemoteRequest::Census RemoteRequest::refused(const ProcessId& process, uint32_t status,
                                             const std::vector<ProcessId>& others) {
    Platform::MutexLock lock(mutex_);
    if (status != MODULE_STATUS_NO_SUBSCRIBERS && firstFailure_ == 0)
        firstFailure_ = status;
    refusers_.insert(process);
    return review(others);
}

RemoteRequest::Census RemoteRequest::counted(const ProcessId& process, CensusState what,
                                             const std::vector<ProcessId>& others) {
    Platform::MutexLock lock(mutex_);
    answers_[process] = what;
    return review(others);
}

RemoteRequest::Census RemoteRequest::reviewed(const std::vector<ProcessId>& others) {
    Platform::MutexLock lock(mutex_);
    return review(others);
}

uint32_t RemoteRequest::failure() {
    Platform::MutexLock lock(mutex_);
    return failureStatus();
}

uint64_t RemoteRequest::firstSequence() {
    Platform::MutexLock lock(mutex_);
    return firstSequence_;
}

RemoteRequest::Census RemoteRequest::review(const std::vector<ProcessId>& others) {
    const auto now = Platform::Clock::steady().now();
    Census census;
    census.sequence = sequence_;
    bool isAnswered = true;
    for (const ProcessId& process : others) {
        if (refusers_.contains(process))
            continue;
        const auto answered = answers_.find(process);
        if (answered == answers_.end())
            isAnswered = false;
        else if (answered->second != CensusState::unknown)
            return census;
    }
    if (!isAnswered && censusDeadline_ == Platform::Clock::Time::max()) {
        census.mustAsk = true;
        censusDeadline_ = Platform::deadlineAfter(now, censusTime);
    }
    census.deadline = censusDeadline_;
    census.failed = isAnswered || now >= censusDeadline_;
    return census;
}

uint32_t RemoteRequest::failureStatus() const {
    return firstFailure_ != 0 ? firstFailure_ : MODULE_STATUS_NO_SUBSCRIBERS;
}

void RemoteRequest::copyGone(size_t copy) {
    gone_[copy] = true;
    ++goneCount_;
    if (!isGone())
        return;
    if (isWaiting_)
        changed_.notifyAll();
    else
        table.fail(*this, failureStatus());
}

}  // namespace MessageBus
