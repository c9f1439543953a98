// A request that goes through the server.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/bus/common/RequestTable.h"
#include "host/bus/nats/NatsClient.h"
#include "platform/Sync.h"

namespace MessageBus {

// Sent in copies: one to whoever has subscribed to its name at the server, one to each process that has
// announced a pattern which matches. It has failed when the server has delivered none of them, or when a
// process has refused it and no other runs or has accepted it; which the processes are asked then (a census).
class RemoteRequest final : public Request, public FrameWatcher {
public:
    RemoteRequest(RequestTable& owner, std::shared_ptr<WorkerPool> answering, const Answer& wanted,
                  std::u16string requested, MessageCharge pays)
        : Request(owner, std::move(answering), wanted, 0),
          name(std::move(requested)),
          charge_(std::move(pays)) {}

    // Has a copy for each of these processes published, zeros standing for whoever has subscribed. publish
    // gets the number of the first and returns the sequence number.
    template <class Publish>
    void send(const std::vector<ProcessId>& to, Publish&& publish) {
        Platform::MutexLock lock(mutex_);
        const size_t first = to_.size();
        to_.insert(to_.end(), to.begin(), to.end());
        gone_.resize(to_.size());
        sequence_ = publish(first);
        if (firstSequence_ == 0)
            firstSequence_ = sequence_;
    }
    // Until the server has taken all copies; false when it has delivered none.
    bool waitForTaking(Platform::Clock::Time until);
    void waitUntil(Platform::Clock::Time time);
    // From here on what fails it is told to the table. What it has failed with already; 0 when it has not.
    uint32_t endWaiting();

    // The server's answers.
    void confirmed() noexcept override;
    void denied(uint32_t status) noexcept override;
    // Returns whom the copy was for.
    ProcessId nobodyThere(size_t copy);

    struct Census {
        bool mustAsk = false;  // the processes, for the first time
        bool failed = false;
        uint64_t sequence = 0;
        Platform::Clock::Time deadline{};
    };
    // A process has refused it, has answered the census, or time has passed. others are the processes of the
    // bus; own is what has become of it in this one.
    Census refused(const ProcessId& process, uint32_t status, const std::vector<ProcessId>& others);
    Census counted(const ProcessId& process, CensusState what, const std::vector<ProcessId>& others);
    Census reviewed(const std::vector<ProcessId>& others);
    // After its end by a census.
    uint32_t failure();
    // Of the copies that were published first, which observers have been shown.
    uint64_t firstSequence();

    const std::u16string name;

private:
    Census review(const std::vector<ProcessId>& others) REQUIRES(mutex_);
    bool isGone() const REQUIRES(mutex_) { return goneCount_ == gone_.size(); }
    uint32_t failureStatus() const REQUIRES(mutex_);
    void copyGone(size_t copy) REQUIRES(mutex_);

    const MessageCharge charge_;  // of the name
    Platform::Mutex mutex_;       // the client's and the table's are taken under it
    Platform::ConditionVariable changed_;
    bool isWaiting_ GUARDED_BY(mutex_) = true;
    std::vector<ProcessId> to_ GUARDED_BY(mutex_);  // by copy
    std::vector<bool> gone_ GUARDED_BY(mutex_);     // the copies that reached nobody
    size_t goneCount_ GUARDED_BY(mutex_) = 0;
    size_t confirmedCount_ GUARDED_BY(mutex_) = 0;
    uint32_t firstFailure_ GUARDED_BY(mutex_) = 0;
    uint64_t sequence_ GUARDED_BY(mutex_) = 0;
    uint64_t firstSequence_ GUARDED_BY(mutex_) = 0;
    std::set<ProcessId> refusers_ GUARDED_BY(mutex_);
    std::map<ProcessId, CensusState> answers_ GUARDED_BY(mutex_);
    Platform::Clock::Time censusDeadline_ GUARDED_BY(mutex_) = Platform::Clock::Time::max();
};

}  // namespace MessageBus
