// The host's settings manager on the bus.
#pragma once

#include <deque>

#include "host/program/connection/BusConnection.h"
#include "host/program/settings/SettingsAnswer.h"
#include "platform/Sync.h"

namespace Host {

// Answers the six requests from the store and announces every change, in the order of the changes. From
// construction to destruction.
class SettingsService {
public:
    // Both outlive the service. Throws HostError.
    SettingsService(const BrevantBusFunctions& functions, SettingsStore& store);
    ~SettingsService() { connection_.close(); }

private:
    uint32_t onRequest(const ReceivedMessage& request, std::u16string_view topic);
    SettingsAnswer change(const ReceivedMessage& request, std::u16string_view topic);
    SettingsAnswer batch(const ReceivedMessage& request);
    void announce();

    SettingsStore& store_;
    // Held over a change of the store and the queueing of its notices, so that both have one order.
    Platform::Mutex changes_;
    // One answer to a batch at a time: each may hold a good part of the store.
    Platform::Mutex batches_;
    // Guards the members below. A leaf: nothing is published under it, since a bus may deliver meanwhile.
    Platform::Mutex noticesMutex_;
    std::deque<SettingsNotice> notices_ GUARDED_BY(noticesMutex_);
    bool announcing_ GUARDED_BY(noticesMutex_) = false;
    BusConnection connection_;  // last: its handlers use what stands above
};

}  // namespace Host
