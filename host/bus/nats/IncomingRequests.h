// The requests of others that this process has been sent.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "host/bus/common/ReceiverReports.h"
#include "host/bus/common/RequestIdentity.h"
#include "host/bus/nats/WireMessage.h"
#include "platform/Clock.h"
#include "platform/Sync.h"

namespace MessageBus {

// One request, for as long as its receivers may answer it. Its requester learns when all have refused it.
class IncomingRequest final : public ReceiverReports {
public:
    // Where to send the refusal, with the first failure.
    using Refuse = std::function<void(const std::string& inbox, uint32_t status)>;

    IncomingRequest(std::string replyTo, size_t receivers, Refuse refuse)
        : inbox(std::move(replyTo)), open_(receivers), refuse_(std::move(refuse)) {}
    // Receivers that were never reached have left.
    ~IncomingRequest();

    void receiverReturned(uint32_t status) noexcept override;
    void receiverLeft() noexcept override;
    CensusState state() const noexcept;

    const std::string inbox;

private:
    void oneLess(size_t count) noexcept;

    std::atomic<size_t> open_;
    std::atomic<bool> accepted_{false};
    std::atomic<uint32_t> firstFailure_{0};
    const Refuse refuse_;
};

// Any thread.
class IncomingRequests {
public:
    static constexpr size_t mostRequests = 65536;

    IncomingRequests();

    // Writes the identity by which a reply finds it into the header. Beyond mostRequests the one that ends
    // first is forgotten.
    void add(const std::shared_ptr<IncomingRequest>& request, const ProcessId& process, uint64_t sequence,
             uint32_t timeoutMilliseconds, MessageHeader& header);
    // Whether a reply with that header answers what this process was asked.
    bool hasIssued(const MessageHeader& reply) const;
    // The request that it answers, which is not to be answered again; null when it has ended.
    std::shared_ptr<IncomingRequest> take(const MessageHeader& reply);
    CensusState stateOf(const ProcessId& process, uint64_t sequence);

private:
    using Key = std::pair<ProcessId, uint64_t>;
    using Deadlines = std::multimap<Platform::Clock::Time, uint64_t>;
    struct Entry {
        std::shared_ptr<IncomingRequest> request;
        Key key;
        Deadlines::iterator deadline;
    };
    std::shared_ptr<IncomingRequest> end(std::unordered_map<uint64_t, Entry>::iterator entry)
        REQUIRES(mutex_);

    const uint64_t salt_;  // of the identities: another process has issued others
    std::atomic<uint64_t> lastCookie_{0};
    Platform::Mutex mutex_;                                           // leaf
    std::unordered_map<uint64_t, Entry> entries_ GUARDED_BY(mutex_);  // by cookie
    std::map<Key, uint64_t> cookies_ GUARDED_BY(mutex_);
    Deadlines deadlines_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
