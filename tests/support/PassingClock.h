// A clock that the test moves: whoever waits on it finds the time gone by.
#pragma once

#include <algorithm>
#include <chrono>

#include "platform/Clock.h"

namespace Support {

class PassingClock final : public Platform::Clock {
public:
    Time now() const override { return time; }
    bool waitUntil(Platform::ConditionVariable&, Platform::MutexLock&, Time deadline) const override {
        time = std::max(time, deadline);
        return false;
    }
    mutable Time time = std::chrono::hours(1);
};

}  // namespace Support
