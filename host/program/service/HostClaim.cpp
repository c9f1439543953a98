#include "host/program/service/HostClaim.h"

#include <tuple>

#include "host/program/connection/HostError.h"
#include "host/program/connection/HostMessages.h"
#include "json/JSONFormatter.h"
#include "platform/Clock.h"
#include "platform/Process.h"

namespace Host {
namespace {

// For the bus, which may be on its way to a server, and for the answers of others.
constexpr std::chrono::milliseconds hearingTime{1000};
constexpr std::chrono::milliseconds answeringTime{150};

constexpr const char16_t* beginKey = u"begin";
constexpr const char16_t* processKey = u"process";
constexpr const char16_t* servesKey = u"serves";

}  // namespace

HostClaim::HostClaim(const BrevantBusFunctions& functions) : connection_(functions, u"BrevantHost") {
    {
        Platform::MutexLock lock(mutex_);
        own_ = {static_cast<uint64_t>(Platform::Clock::wall().now().count()), Platform::currentProcessId()};
    }
    if (!connection_.subscribe(BREVANT_HOST_CLAIM,
                               [this](const ReceivedMessage& message) { return onClaim(message); }))
        throw HostError("the message bus refuses the host's subscriptions");
}

std::optional<uint32_t> HostClaim::findHolder() {
    const Platform::Clock& clock = Platform::Clock::steady();
    Platform::MutexLock lock(mutex_);
    const Entry own = own_;
    lock.unlock();
    publish(own);
    lock.lock();
    auto deadline = Platform::deadlineAfter(clock.now(), hearingTime);
    while (!isHeard_ && !holder_ && clock.waitUntil(changed_, lock, deadline)) {
    }
    deadline = Platform::deadlineAfter(clock.now(), answeringTime);
    while (!holder_ && clock.waitUntil(changed_, lock, deadline)) {
    }
    own_.serves = !holder_;
    return holder_;
}

std::optional<uint32_t> HostClaim::renew() {
    Platform::MutexLock lock(mutex_);
    const Entry own = own_;
    const std::optional<uint32_t> holder = holder_;
    lock.unlock();
    if (!holder)
        publish(own);
    return holder;
}

uint32_t HostClaim::onClaim(const ReceivedMessage& message) {
    // Requests are anybody's to send.
    if (message.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED)
        return MODULE_STATUS_NOT_SUPPORTED;
    const std::u16string& payload = message.payload;
    Tavix::JSONFormatter claim;
    Entry other;
    if (!claim.parse(payload) || !claim.getUInt64(beginKey, other.begin) ||
        !claim.getUInt32(processKey, other.process) || !claim.getBool(servesKey, other.serves))
        return MODULE_STATUS_INVALID_PARAMETER;
    Platform::MutexLock lock(mutex_);
    if (other.begin == own_.begin && other.process == own_.process) {
        isHeard_ = true;
        changed_.notifyAll();
        return MODULE_STATUS_SUCCESS;
    }
    if (goesBefore(own_, other)) {
        const Entry own = own_;
        lock.unlock();
        publish(own);
    } else {
        holder_ = other.process;
        changed_.notifyAll();
    }
    return MODULE_STATUS_SUCCESS;
}

void HostClaim::publish(const Entry& entry) {
    Tavix::JSONFormatter claim;
    claim.setUInt64(beginKey, entry.begin);
    claim.setUInt32(processKey, entry.process);
    claim.setBool(servesKey, entry.serves);
    connection_.publish(BREVANT_HOST_CLAIM, claim.toString());
}

bool HostClaim::goesBefore(const Entry& one, const Entry& other) {
    return std::tuple(!one.serves, one.begin, one.process) <
           std::tuple(!other.serves, other.begin, other.process);
}

}  // namespace Host
