// Pools whose last handle is gone.
#pragma once

#include <memory>
#include <vector>

#include "host/bus/common/LibraryPin.h"
#include "host/bus/common/WorkerPool.h"
#include "platform/Sync.h"

namespace MessageBus {

// A pool counts as a use of the library from its start until it is joined here. Any thread.
class RetiredPools {
public:
    // Never fails, unless memory is short when the pool is started: see reserve.
    void add(std::shared_ptr<WorkerPool> pool) noexcept;
    // Room for one more, and for a pin.
    void reserve();
    bool isOwnThread();
    // Keeps the library loaded until the pools have been joined.
    void pinLibrary();
    // Joins the pools that have ended; with wait, also those that still run a callback. Nothing on a thread
    // of one of them.
    void reap(bool wait);

private:
    Platform::Mutex mutex_;  // taken under the bus's; the pools' are taken under it
    std::vector<std::shared_ptr<WorkerPool>> pools_ GUARDED_BY(mutex_);
    std::vector<LibraryPin> pins_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
