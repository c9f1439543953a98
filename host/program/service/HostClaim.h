// Keeps a bus for one host, also from another that starts at the same moment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/program/connection/BusConnection.h"
#include "platform/Sync.h"

namespace Host {

// Tells other hosts, and answers them for as long as it lives: who serves goes before who begins, and of
// those that begin the older one.
// Two that serve, because no server was there when they began or a cluster was parted, find each other by
// renew().
class HostClaim {
public:
    // The table outlives the claim. Throws HostError.
    explicit HostClaim(const BrevantBusFunctions& functions);
    ~HostClaim() { connection_.close(); }

    // The process of the host that has the bus; nothing when it is this one's. Once. Takes a moment.
    std::optional<uint32_t> findHolder();
    // Tells the others again; now and then. The process of a host that goes before this one.
    std::optional<uint32_t> renew();

private:
    struct Entry {
        uint64_t begin = 0;  // of the wall clock
        uint32_t process = 0;
        bool serves = false;
    };

    uint32_t onClaim(const ReceivedMessage& message);
    void publish(const Entry& entry);
    static bool goesBefore(const Entry& one, const Entry& other);

    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    Entry own_ GUARDED_BY(mutex_);
    std::optional<uint32_t> holder_ GUARDED_BY(mutex_);
    bool isHeard_ GUARDED_BY(mutex_) = false;  // by itself: others have been told as well
    BusConnection connection_;                 // last: its handler uses what stands above
};

}  // namespace Host
