#include "platform/Clock.h"

#include <algorithm>

#include "platform/SystemTime.h"

namespace Platform {
namespace {

class WallClock final : public Clock {
public:
    Time now() const override { return wallTime(); }
    bool waitUntil(ConditionVariable& condition, MutexLock& lock, Time deadline) const override {
        if (deadline == Time::max()) {
            condition.wait(lock);
            return true;
        }
        // The system may set this clock at any moment; looking again once a second notices it soon enough.
        constexpr Time slice = std::chrono::seconds(1);
        for (;;) {
            const Time present = now();
            if (deadline <= present)
                return false;
            if (condition.waitFor(lock, std::min(slice, deadline - present)))
                return true;
        }
    }
};

class SteadyClock final : public Clock {
public:
    Time now() const override { return steadyTime(); }
    bool waitUntil(ConditionVariable& condition, MutexLock& lock, Time deadline) const override {
        if (deadline == Time::max()) {
            condition.wait(lock);
            return true;
        }
        for (;;) {
            const Time present = now();
            if (deadline <= present)
                return false;
            if (condition.waitFor(lock, deadline - present))
                return true;
        }
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
