// The other processes of the bus, and what requests they want to be sent.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/bus/common/SubscriptionIndex.h"
#include "host/bus/nats/WireMessage.h"
#include "platform/Sync.h"

namespace MessageBus {

// Patterns whose words at the head are broader than what they match would count as responders at the server
// although they may match nothing: their processes announce them instead, and a requester addresses each
// process that has one which matches. What is told of a process beyond the bounds is not noted. Any thread.
class PeerTable {
public:
    static constexpr size_t mostProcesses = 4096;
    static constexpr size_t mostPatterns = 65536;
    static constexpr size_t mostPatternUnits = 4096;  // of one

    void join(const ProcessId& process);
    void leave(const ProcessId& process);
    void forgetOthers(const ProcessId& process);
    // Once for each pattern. A malformed one is not noted.
    void add(const ProcessId& process, std::u16string_view pattern, bool isObserver);
    void remove(const ProcessId& process, std::u16string_view pattern, bool isObserver);

    // That have joined or announced a pattern: observers alone take no part.
    std::vector<ProcessId> processes();
    // Each process once that has announced a pattern which matches.
    std::vector<ProcessId> matching(std::u16string_view name, bool observers);
    bool hasObservers();

private:
    struct Peer {
        uint64_t number;  // of its own
        bool takesPart = false;
    };
    struct Announcements {
        SubscriptionIndex index;
        // By process and pattern.
        std::map<ProcessId, std::map<std::u16string, std::shared_ptr<Subscription>, std::less<>>> entries;
        std::map<uint64_t, ProcessId> numbers;  // the entries' handles
        size_t count = 0;
    };
    // Null when there is no room for another.
    Peer* peer(const ProcessId& process) REQUIRES(mutex_);
    void forget(const ProcessId& process) REQUIRES(mutex_);
    static void drop(Announcements& from, const ProcessId& process);

    Platform::Mutex mutex_;  // leaf
    std::map<ProcessId, Peer> processes_ GUARDED_BY(mutex_);
    uint64_t lastNumber_ GUARDED_BY(mutex_) = 0;
    Announcements requests_ GUARDED_BY(mutex_);
    Announcements observers_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
