#include "RoadPrinter.h"

#include <algorithm>

#include "HostError.h"
#include "TerminalText.h"
#include "platform/Clock.h"

namespace Host {
namespace {

constexpr size_t nameColumns = 200;

}  // namespace

RoadPrinter::RoadPrinter(const BrevantBusFunctions& functions, Console& console, const std::u16string& viewer)
    : console_(console), connection_(functions, u"RoadPrinter") {
    const std::u16string pattern =
        u"(Brevant\\.Alert\\.|" + literalPattern(u"Brevant.Viewer." + viewer + u".") + u").+";
    if (!connection_.subscribePattern(pattern,
                                      [this](const BusMessage& message) { return onMessage(message); }))
        throw HostError("the message bus refuses the printer's subscription");
}

uint32_t RoadPrinter::onMessage(const BusMessage& message) {
    console_.line(u"  bus  " + shortened(harmless(message.name), nameColumns));
    Platform::MutexLock lock(mutex_);
    printed_.push_back(message.name);
    if (printed_.size() > mostRemembered)
        printed_.pop_front();
    changed_.notifyAll();
    return MODULE_STATUS_SUCCESS;
}

bool RoadPrinter::waitFor(const std::u16string& name, std::chrono::milliseconds timeout) {
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto deadline = Platform::deadlineAfter(clock.now(), timeout);
    Platform::MutexLock lock(mutex_);
    for (;;) {
        if (std::find(printed_.begin(), printed_.end(), name) != printed_.end())
            return true;
        if (!clock.waitUntil(changed_, lock, deadline))
            return false;
    }
}

}  // namespace Host
