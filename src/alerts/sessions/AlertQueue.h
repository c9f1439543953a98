// The alerts that wait in a session, in dispatch order: by ascending priority value, then by arrival.
#pragma once

#include <compare>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "alerts/alert/Alert.h"
#include "alerts/sessions/HashIndex.h"
#include "platform/Sync.h"

namespace Vok {

// Each operation is atomic and costs the same however many alerts wait, the longest as well as the usual one
// (but for the number of different priorities, and of alerts of one id, of which it costs the logarithm).
// Unbounded: refusing an alert would lose it.
class AlertQueue {
public:
    AlertQueue() = default;
    AlertQueue(const AlertQueue&) = delete;
    AlertQueue& operator=(const AlertQueue&) = delete;

    // False, leaving the alert with the caller, when it is empty or a queued alert is a duplicate of it.
    bool insert(std::shared_ptr<Alert>&& alert);
    // Removes the first alert with that id; false when there is none.
    bool removeById(const std::u16string& id) { return takeById(id) != nullptr; }
    // The same, handing the alert over: letting go of the last reference to one talks to the bus, which a
    // caller may want to do outside its locks. Empty when there is none.
    std::shared_ptr<Alert> takeById(const std::u16string& id);
    // The first alert; empty when the queue is.
    std::shared_ptr<Alert> front() const;
    // Takes the first alert out; empty when the queue is.
    std::shared_ptr<Alert> pop();
    // Lets go of all alerts, outside the lock.
    void clear();
    uint64_t size() const;

private:
    struct Position {
        int32_t priority;
        uint64_t arrival;
        auto operator<=>(const Position&) const = default;
    };
    struct Entry {
        std::shared_ptr<Alert> alert;
        Position position;
    };
    using Lane = std::list<Entry>;
    using OfOneId = std::map<Position, Lane::iterator>;  // never empty

    bool hasDuplicateOf(const Alert& alert) REQUIRES(mutex_);
    OfOneId* find(const std::u16string& id, size_t hash) REQUIRES(mutex_);
    void index(Lane::iterator entry) REQUIRES(mutex_);
    std::shared_ptr<Alert> unlink(Lane::iterator entry) REQUIRES(mutex_);

    mutable Platform::Mutex mutex_;  // guards everything below; nothing else is taken under it
    // One lane a priority, each in order of arrival; none is empty.
    std::map<int32_t, Lane> lanes_ GUARDED_BY(mutex_);
    HashIndex<OfOneId> byId_ GUARDED_BY(mutex_);  // by hashOf(id)
    // By duplicate hash, without the alerts that never are duplicates.
    HashIndex<Lane::iterator> byTexts_ GUARDED_BY(mutex_);
    uint64_t count_ GUARDED_BY(mutex_) = 0;
    uint64_t arrivals_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vok
