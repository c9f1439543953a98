#include "bus/PerfTimer.h"

#include "logging/Log.h"

namespace Tavix::internal {
namespace {

constexpr std::u16string_view logSource = u"PerfTimer";

}  // namespace

PerfTimer::PerfTimer(std::u16string_view name, const Platform::Clock& clock)
    : clock_(clock), start_(clock.now()), name_(name) {}

void PerfTimer::stop() {
    if (stopped_)
        return;
    stopped_ = true;
    const Platform::Clock::Time end = clock_.now();
    LOG_FORMATTED(ETWLogging::levelNormal, u"Tavix::internal::PerfTimer::stop",
                  u"M12NPerfTimer|%ls|%lld|%lld|%lld", name_, start_.count(), end.count(),  // compat
                  (end - start_).count());
}

}  // namespace Tavix::internal
