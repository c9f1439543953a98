#include "platform/Clock.h"

#include <windows.h>

#include "platform/SystemTime.h"

namespace Platform {
namespace {

CalendarTime calendar(const SYSTEMTIME& time) {
    return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond};
}

}  // namespace

Clock::Time wallTime() noexcept {
    constexpr int64_t ticksTo1970 = 116'444'736'000'000'000;  // of 100 ns since 1601
    FILETIME time{};
    GetSystemTimePreciseAsFileTime(&time);
    const auto ticks =
        static_cast<int64_t>(static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
    return std::chrono::nanoseconds((ticks - ticksTo1970) * 100);
}

Clock::Time steadyTime() noexcept {
    LARGE_INTEGER frequency{};
    LARGE_INTEGER counter{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    // Whole seconds apart from the rest, so that the product stays in range.
    const int64_t seconds = counter.QuadPart / frequency.QuadPart;
    const int64_t rest = counter.QuadPart % frequency.QuadPart;
    return std::chrono::seconds(seconds) +
           std::chrono::nanoseconds(rest * 1'000'000'000 / frequency.QuadPart);
}

CalendarTime localCalendarTime() {
    SYSTEMTIME time{};
    GetLocalTime(&time);
    return calendar(time);
}

CalendarTime utcCalendarTime() {
    SYSTEMTIME time{};
    GetSystemTime(&time);
    return calendar(time);
}

}  // namespace Platform
