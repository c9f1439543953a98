// What ran for handles that are gone.
#pragma once

#include <memory>
#include <vector>

#include "host/bus/common/LibraryPin.h"
#include "host/bus/common/ThreadOwner.h"
#include "platform/Sync.h"

namespace MessageBus {

// An owner of threads counts as a use of the library from its start until it is joined here. Any thread.
class RetiredThreads {
public:
    // Never fails, when room was reserved as it was started.
    void add(std::shared_ptr<ThreadOwner> owner) noexcept;
    // Room for a pool and a connection more.
    void reserve();
    bool isOwnThread();
    // Keeps the library loaded until all have been joined.
    void pinLibrary();
    // Joins those that have ended; with wait, the others too, in the order of adding. Nothing on a thread
    // of one of them.
    void reap(bool wait);

private:
    Platform::Mutex mutex_;  // taken under the bus's; the owners' are taken under it
    std::vector<std::shared_ptr<ThreadOwner>> owners_ GUARDED_BY(mutex_);
    std::vector<LibraryPin> pins_ GUARDED_BY(mutex_);
};

}  // namespace MessageBus
