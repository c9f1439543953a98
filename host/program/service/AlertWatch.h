// What the host sees of the alerts that wait and of those on screen.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>

#include "host/program/connection/BusConnection.h"
#include "host/program/connection/HostStatus.h"
#include "platform/Clock.h"
#include "platform/Sync.h"

namespace Host {

// Learns from what passes on the bus, so it knows of an alert a moment after the broker does.
class AlertWatch {
public:
    // The table outlives the watch. Throws HostError.
    explicit AlertWatch(const BrevantBusFunctions& functions);
    ~AlertWatch() { connection_.close(); }

    // Puts the alerts and their numbers into the status.
    void describe(HostStatus& status) const;
    // Each alert that has not ended, in words.
    std::vector<std::u16string> held() const;
    // The requests that delete what waits, and then what is on screen.
    std::vector<std::u16string> deletions() const;

private:
    struct Seen {
        HostStatus::Alert alert;
        bool isQueued = false;
        Platform::Clock::Time since{};
    };

    uint32_t onMessage(const ReceivedMessage& message);
    void onRequest(const std::u16string& instance, const std::u16string& description);
    void onLogoff(const std::u16string& payload);
    void forget(const std::u16string& instance) REQUIRES(mutex_);
    Seen* find(const std::u16string& instance) REQUIRES(mutex_);

    static constexpr size_t mostSeen = 10000, mostEnded = 4096;

    // Guards the members below. A leaf.
    mutable Platform::Mutex mutex_;
    std::map<std::u16string, Seen> seen_ GUARDED_BY(mutex_);  // by instance
    // Messages of several senders come in no order of their own: what has ended stays so.
    std::set<std::u16string> ended_ GUARDED_BY(mutex_);
    std::deque<std::u16string> endedOrder_ GUARDED_BY(mutex_);
    BusConnection connection_;  // last: its handlers use what stands above
};

}  // namespace Host
