#include "alerts/sessions/LockHolder.h"

#include <algorithm>
#include <vector>

#include "platform/ProcessWide.h"
#include "platform/Thread.h"

namespace Vok {

namespace {

// One list for all modules of the process: a thread that holds one module's lock must not wait for another's
// either. Not thread_local, which costs handles on Windows.
struct Marks {
    Platform::Mutex mutex;  // leaf
    std::vector<uint32_t> threads GUARDED_BY(mutex);
};
constinit Platform::ProcessWide<Marks> marks;

}  // namespace

LockHolder::LockHolder() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    all.threads.push_back(Platform::currentThreadId());
}

LockHolder::~LockHolder() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    all.threads.erase(std::ranges::find(all.threads, Platform::currentThreadId()));
}

bool LockHolder::isCurrentThread() {
    Marks& all = marks.get();
    Platform::MutexLock lock(all.mutex);
    return std::ranges::find(all.threads, Platform::currentThreadId()) != all.threads.end();
}

}  // namespace Vok
