#include "bus/RunningCallbacks.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bus/MessageBusClient.h"
#include "library/SharedLibrary.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"

namespace Tavix {
namespace {

using Libraries = std::vector<std::shared_ptr<SharedLibrary>>;

struct Callbacks {
    Platform::Mutex mutex;  // leaf
    int running GUARDED_BY(mutex) = 0;
    Platform::ConditionVariable ended;
    Libraries keptLibraries GUARDED_BY(mutex);
};

constinit Platform::ProcessWide<Callbacks> callbacks;

// Callbacks on this thread, one inside the other.
constinit thread_local int runningHere = 0;

}  // namespace

RunningCallback::RunningCallback() noexcept {
    ++runningHere;
    Callbacks& all = callbacks.get();
    Platform::MutexLock lock(all.mutex);
    ++all.running;
}

RunningCallback::~RunningCallback() {
    --runningHere;
    Callbacks& all = callbacks.get();
    Platform::MutexLock lock(all.mutex);
    --all.running;
    all.ended.notifyAll();
}

void releaseBusLibrary(std::shared_ptr<SharedLibrary> library) {
    if (!library)
        return;
    Callbacks& all = callbacks.get();
    const auto same = [&](const std::shared_ptr<SharedLibrary>& other) {
        return other->getFunctions()->createObject == library->getFunctions()->createObject;
    };
    Platform::MutexLock lock(all.mutex);
    if (all.running > 0 && std::ranges::none_of(all.keptLibraries, same))
        all.keptLibraries.push_back(std::move(library));
}

void waitForBusCallbacks() {
    Callbacks& all = callbacks.get();
    // Freed outside the lock.
    Libraries libraries;
    Platform::MutexLock lock(all.mutex);
    while (all.running != runningHere)
        all.ended.wait(lock);
    if (runningHere == 0)
        libraries.swap(all.keptLibraries);
}

}  // namespace Tavix
