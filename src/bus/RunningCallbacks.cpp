#include "bus/RunningCallbacks.h"

#include <type_traits>
#include <utility>

#include "bus/MessageBusClient.h"
#include "library/SharedLibrary.h"
#include "platform/Sync.h"

namespace Tavix {
namespace {

struct Waiter : Platform::StackList<Waiter>::Link {
    Platform::ConditionVariable callbackEnded;
};

// Nothing here has a destructor: callbacks may come until the process has ended.
constinit Platform::Mutex mutex;  // leaf
constinit Platform::ThreadList running GUARDED_BY(mutex);
constinit Platform::StackList<Waiter> waiters GUARDED_BY(mutex);
static_assert(std::is_trivially_destructible_v<Platform::Mutex> &&
              std::is_trivially_destructible_v<Platform::ThreadList> &&
              std::is_trivially_destructible_v<Platform::StackList<Waiter>>);
constinit BusLibraryReference* keptLibraries GUARDED_BY(mutex) = nullptr;

}  // namespace

RunningCallback::RunningCallback() noexcept {
    Platform::MutexLock lock(mutex);
    running.enter(mark_);
}

RunningCallback::~RunningCallback() {
    Platform::MutexLock lock(mutex);
    running.leave(mark_);
    waiters.forEach([](Waiter& waiter) { waiter.callbackEnded.notifyAll(); });
}

void releaseBusLibrary(std::unique_ptr<BusLibraryReference> reference) {
    Platform::MutexLock lock(mutex);
    if (!running.hasAny())
        return;
    const auto createObject = reference->library->getFunctions()->createObject;
    for (const BusLibraryReference* kept = keptLibraries; kept; kept = kept->next.get()) {
        if (kept->library->getFunctions()->createObject == createObject)
            return;
    }
    reference->next.reset(keptLibraries);
    keptLibraries = reference.release();
}

void waitForBusCallbacks() {
    // Freed outside the lock.
    std::unique_ptr<BusLibraryReference> libraries;
    Waiter self;
    Platform::MutexLock lock(mutex);
    waiters.add(self);
    while (running.hasOther())
        self.callbackEnded.wait(lock);
    waiters.remove(self);
    if (!running.hasCurrent())
        libraries.reset(std::exchange(keptLibraries, nullptr));
}

}  // namespace Tavix
