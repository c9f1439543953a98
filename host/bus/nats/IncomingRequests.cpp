#include "host/bus/nats/IncomingRequests.h"

#include <random>

#include <brevant/status.h>

namespace MessageBus {

namespace {

uint64_t randomNumber() {
    std::random_device random;
    return uint64_t{random()} << 32 | random();
}

}  // namespace

IncomingRequest::~IncomingRequest() {
    if (const size_t unreached = open_.load(); unreached != 0)
        oneLess(unreached);
}

void IncomingRequest::receiverReturned(uint32_t status) noexcept {
    uint32_t none = 0;
    if ((status & 0x80000000u) == 0)
        accepted_ = true;
    else
        firstFailure_.compare_exchange_strong(none, status);
    oneLess(1);
}

void IncomingRequest::receiverLeft() noexcept {
    oneLess(1);
}

CensusState IncomingRequest::state() const noexcept {
    return accepted_ ? CensusState::accepted : open_ != 0 ? CensusState::running : CensusState::unknown;
}

void IncomingRequest::oneLess(size_t count) noexcept {
    if (open_.fetch_sub(count) != count || accepted_)
        return;
    const uint32_t failure = firstFailure_;
    try {
        refuse_(inbox, failure != 0 ? failure : MODULE_STATUS_NO_SUBSCRIBERS);
    } catch (...) {
        // Its requester's time-out ends it.
    }
}

IncomingRequests::IncomingRequests() : salt_(randomNumber()) {}

void IncomingRequests::add(const std::shared_ptr<IncomingRequest>& request, const ProcessId& process,
                           uint64_t sequence, uint32_t timeoutMilliseconds, MessageHeader& header) {
    const auto now = Platform::Clock::steady().now();
    std::vector<std::shared_ptr<IncomingRequest>> ended;  // let go of outside the lock
    Platform::MutexLock lock(mutex_);
    while (!deadlines_.empty() && (deadlines_.begin()->first <= now || entries_.size() >= mostRequests))
        ended.push_back(end(entries_.find(deadlines_.begin()->second)));
    const uint64_t cookie = lastCookie_ + 1;
    const Key key(process, sequence);
    const auto deadline = deadlines_.emplace(
        Platform::deadlineAfter(now, std::chrono::milliseconds(timeoutMilliseconds)), cookie);
    entries_.emplace(cookie, Entry{request, key, deadline});
    cookies_[key] = cookie;
    lastCookie_ = cookie;
    RequestIdentity{salt_, cookie}.writeTo(header);
    lock.unlock();
}

bool IncomingRequests::hasIssued(const MessageHeader& reply) const {
    RequestIdentity identity{};
    return identity.readFrom(reply) && identity.handle == salt_ && identity.cookie <= lastCookie_;
}

std::shared_ptr<IncomingRequest> IncomingRequests::take(const MessageHeader& reply) {
    RequestIdentity identity{};
    if (!identity.readFrom(reply))
        return nullptr;
    Platform::MutexLock lock(mutex_);
    const auto entry = entries_.find(identity.cookie);
    return entry == entries_.end() ? nullptr : end(entry);
}

CensusState IncomingRequests::stateOf(const ProcessId& process, uint64_t sequence) {
    Platform::MutexLock lock(mutex_);
    const auto cookie = cookies_.find({process, sequence});
    return cookie == cookies_.end() ? CensusState::unknown : entries_.at(cookie->second).request->state();
}

std::shared_ptr<IncomingRequest> IncomingRequests::end(std::unordered_map<uint64_t, Entry>::iterator entry) {
    std::shared_ptr<IncomingRequest> request = std::move(entry->second.request);
    deadlines_.erase(entry->second.deadline);
    if (const auto cookie = cookies_.find(entry->second.key);
        cookie != cookies_.end() && cookie->second == entry->first)
        cookies_.erase(cookie);
    entries_.erase(entry);
    return request;
}

}  // namespace MessageBus
