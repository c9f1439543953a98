// Measures a stretch of code and logs it at level 1.
#pragma once

#include <string_view>

#include "platform/Clock.h"

namespace Tavix::internal {

class PerfTimer {
public:
    // Starts. The name must outlive the timer.
    explicit PerfTimer(std::u16string_view name, const Platform::Clock& clock = Platform::Clock::steady());
    ~PerfTimer() { stop(); }
    PerfTimer(const PerfTimer&) = delete;
    PerfTimer& operator=(const PerfTimer&) = delete;

    // Logs name, start, stop and elapsed time in nanoseconds, the first time only.
    void stop();

private:
    const Platform::Clock& clock_;
    Platform::Clock::Time start_;
    std::u16string_view name_;
    bool stopped_ = false;
};

}  // namespace Tavix::internal
