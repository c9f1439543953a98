#include "platform/Clock.h"

#include <ctime>

#include "platform/SystemTime.h"

namespace Platform {
namespace {

Clock::Time read(clockid_t clock) noexcept {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

CalendarTime calendar(const tm& time) {
    return {static_cast<uint16_t>(time.tm_year + 1900), static_cast<uint16_t>(time.tm_mon + 1),
            static_cast<uint16_t>(time.tm_mday),        static_cast<uint16_t>(time.tm_hour),
            static_cast<uint16_t>(time.tm_min),         static_cast<uint16_t>(time.tm_sec)};
}

}  // namespace

Clock::Time wallTime() noexcept {
    return read(CLOCK_REALTIME);
}
Clock::Time steadyTime() noexcept {
    return read(CLOCK_MONOTONIC);
}

CalendarTime localCalendarTime() {
    const time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    return calendar(parts);
}

CalendarTime utcCalendarTime() {
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    return calendar(parts);
}

}  // namespace Platform
