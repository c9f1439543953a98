#include "bus/RunningCallbacks.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bus/MessageBusClient.h"
#include "library/SharedLibrary.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Tavix {
namespace {

using Libraries = std::vector<std::shared_ptr<SharedLibrary>>;

struct Callbacks {
    Platform::Mutex mutex;  // leaf
    Platform::ThreadList running GUARDED_BY(mutex);
    Platform::ConditionVariable ended;
    Libraries keptLibraries GUARDED_BY(mutex);
};

constinit Platform::ProcessWide<Callbacks> callbacks;

}  // namespace

RunningCallback::RunningCallback() noexcept {
    Callbacks& all = callbacks.get();
    Platform::MutexLock lock(all.mutex);
    all.running.enter();
}

RunningCallback::~RunningCallback() {
    Callbacks& all = callbacks.get();
    Platform::MutexLock lock(all.mutex);
    all.running.leave();
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
    if (all.running.hasAny() && std::ranges::none_of(all.keptLibraries, same))
        all.keptLibraries.push_back(std::move(library));
}

void waitForBusCallbacks() {
    Callbacks& all = callbacks.get();
    // Freed outside the lock.
    Libraries libraries;
    Platform::MutexLock lock(all.mutex);
    while (all.running.hasOther())
        all.ended.wait(lock);
    if (!all.running.hasCurrent())
        libraries.swap(all.keptLibraries);
}

}  // namespace Tavix
