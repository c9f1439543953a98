// The transports of the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Sync.h"
#include "telemetry/ITransport.h"

namespace Tavix::Analytics::internal {

struct TransportLists {
    // The fallback list holds the legacy transport and, last, the null transport.
    TransportLists();

    // Serialises selection: held while transports are opened, never while they send.
    Platform::Mutex mutex;
    std::atomic<uint32_t> selecting{0};  // the thread that holds it, 0 for none
    // Tried first. Empty unless somebody adds to it.
    std::vector<std::shared_ptr<ITransport>> primary GUARDED_BY(mutex);  // compat
    std::vector<std::shared_ptr<ITransport>> fallback GUARDED_BY(mutex);
};

// Made on first use.
TransportLists& transportLists();

}  // namespace Tavix::Analytics::internal
