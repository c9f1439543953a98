// Counts the callbacks of the bus that run in this library.
#pragma once

#include <memory>

#include "platform/Thread.h"

namespace Tavix {

class SharedLibrary;

class RunningCallback {
public:
    RunningCallback() noexcept;
    ~RunningCallback();
    RunningCallback(const RunningCallback&) = delete;
    RunningCallback& operator=(const RunningCallback&) = delete;

private:
    Platform::ThreadList::Mark mark_;
};

// A reference to a bus library, with the place that keeping it takes: it can be kept when memory is short.
struct BusLibraryReference {
    std::shared_ptr<SharedLibrary> library;
    std::unique_ptr<BusLibraryReference> next;
};

// Lets go of a bus library. While callbacks run, on this thread or another, their caller may be its code:
// then a reference is kept, one per library, until waitForBusCallbacks() is called outside callbacks.
void releaseBusLibrary(std::unique_ptr<BusLibraryReference> reference);

}  // namespace Tavix
