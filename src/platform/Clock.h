// Clocks. Whoever waits takes a Clock, so that tests can advance time instead of letting it pass.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/Sync.h"

namespace Platform {

class Clock {
public:
    // Since the clock's own epoch: 1970 UTC for wall(), the system's start for steady().
    using Time = std::chrono::nanoseconds;

    virtual Time now() const = 0;
    // Waits on the condition until it is notified or the clock reaches the deadline. Returns false only when
    // the deadline has passed; true may come without cause. A deadline beyond the clock's range is "never".
    virtual bool waitUntil(ConditionVariable& condition, MutexLock& lock, Time deadline) const = 0;

    static const Clock& wall() noexcept;
    static const Clock& steady() noexcept;

protected:
    // Trivial: threads of ours may still use the process's clocks when it has ended its static objects.
    ~Clock() = default;
};

// Adds without overflow: a sum beyond the range is the greatest time.
constexpr Clock::Time deadlineAfter(Clock::Time now, std::chrono::nanoseconds duration) {
    return duration > Clock::Time::max() - now ? Clock::Time::max() : now + duration;
}
constexpr Clock::Time deadlineAfter(Clock::Time now, std::chrono::seconds duration) {
    constexpr auto most = std::chrono::duration_cast<std::chrono::seconds>(Clock::Time::max());
    if (duration > most)
        return Clock::Time::max();
    if (duration < -most)
        return Clock::Time::min();
    return deadlineAfter(now, std::chrono::nanoseconds(duration));
}

struct CalendarTime {
    uint16_t year, month, day, hour, minute, second;  // hour 0 to 23, month 1 to 12
};
CalendarTime localCalendarTime();
CalendarTime utcCalendarTime();

}  // namespace Platform
