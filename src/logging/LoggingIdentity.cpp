#include "logging/LoggingIdentity.h"

#include "platform/ProcessWide.h"
#include "platform/Sync.h"

namespace ETWLogging {
namespace {

struct SharedIdentity {
    Platform::Mutex mutex;  // guards the identity; a leaf
    LoggingIdentity identity GUARDED_BY(mutex);
};

constinit Platform::ProcessWide<SharedIdentity> shared;

}  // namespace

void setLogGroup(const std::u16string& group) {
    SharedIdentity& state = shared.get();
    Platform::MutexLock lock(state.mutex);
    state.identity = LoggingIdentity{group, u"", 0};
}

LoggingIdentity loggingIdentity() {
    SharedIdentity& state = shared.get();
    Platform::MutexLock lock(state.mutex);
    return state.identity;
}

}  // namespace ETWLogging
