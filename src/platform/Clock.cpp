#include "platform/Clock.h"

#include <algorithm>

#include "platform/SystemTime.h"

namespace Platform {
namespace {

// Waits once, for the slice at most, and leaves it to the caller to look at its condition: a notification
// that comes just when the time of a wait ends is heard by nobody who waits on without that look.
bool waitSlice(ConditionVariable& condition, MutexLock& lock, Clock::Time now, Clock::Time deadline,
               Clock::Time slice) {
    if (deadline == Clock::Time::max()) {
        condition.wait(lock);
        return true;
    }
    if (deadline <= now)
        return false;
    condition.waitFor(lock, std::min(slice, deadline - now));
    return true;
}

class WallClock final : public Clock {
public:
    Time now() const override { return wallTime(); }
    bool waitUntil(ConditionVariable& condition, MutexLock& lock, Time deadline) const override {
        // The system may set this clock at any moment; looking again once a second notices it soon enough.
        return waitSlice(condition, lock, now(), deadline, std::chrono::seconds(1));
    }
};

class SteadyClock final : public Clock {
public:
    Time now() const override { return steadyTime(); }
    bool waitUntil(ConditionVariable& condition, MutexLock& lock, Time deadline) const override {
        return waitSlice(condition, lock, now(), deadline, Time::max());
    }
};

constinit const WallClock wallClock;
constinit const SteadyClock steadyClock;

}  // namespace

const Clock& Clock::wall() noexcept {
    return wallClock;
}
const Clock& Clock::steady() noexcept {
    return steadyClock;
}

}  // namespace Platform
