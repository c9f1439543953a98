#include "host/program/service/RoadPrinter.h"

#include <algorithm>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "host/program/output/TerminalText.h"
#include "platform/Clock.h"

namespace Host {
namespace {

constexpr size_t nameColumns = 200;
constexpr auto causePatience = std::chrono::seconds(2);

}  // namespace

RoadPrinter::RoadPrinter(const BrevantBusFunctions& functions, Console& console,
                         const std::u16string& viewerId)
    : console_(console),
      viewerTopic_(Brevant::viewerMessage(viewerId, u".")),
      viewerShow_(Brevant::viewerMessage(viewerId, BREVANT_VIEWER_SHOW)),
      connection_(functions, u"RoadPrinter") {
    const std::u16string pattern =
        u"(" + literalPattern(BREVANT_ALERT_PREFIX) + u"|" + literalPattern(viewerTopic_) + u").+";
    if (!connection_.subscribePattern(pattern,
                                      [this](const ReceivedMessage& message) { return onMessage(message); }))
        throw HostError("the message bus refuses the printer's subscription");
}

// The message that must have gone before; empty when none is known.
std::u16string RoadPrinter::causeOf(const std::u16string& name) const {
    if (name == BREVANT_ALERT_GET_ID_RESPONSE)
        return BREVANT_ALERT_GET_ID;
    if (name.starts_with(BREVANT_ALERT_SHOW)) {
        // An alert may be shown under an instance that nobody asked for.
        Platform::MutexLock lock(mutex_);
        return hasPrinted(BREVANT_ALERT_GET_ID) ? BREVANT_ALERT_GET_ID_RESPONSE : u"";
    }
    const size_t instance = name.rfind(u'.');
    const size_t word = instance == 0 || instance == name.npos ? name.npos : name.rfind(u'.', instance - 1);
    if (word == name.npos)
        return {};
    const std::u16string_view status = std::u16string_view(name).substr(word, instance + 1 - word);
    const std::u16string number = name.substr(instance + 1);
    if (name.starts_with(viewerShow_))
        return BREVANT_ALERT_QUEUED + number;
    if (status == BREVANT_ALERT_QUEUED || status == BREVANT_ALERT_SUPPRESSED)
        return BREVANT_ALERT_SHOW + number;
    return status == BREVANT_ALERT_SHOWN ? viewerShow_ + number : std::u16string();
}

uint32_t RoadPrinter::onMessage(const ReceivedMessage& message) {
    if (const std::u16string cause = causeOf(message.name); !cause.empty())
        waitFor(cause, causePatience);
    print(message.name);
    // It answers nothing: a request that nobody else takes must not wait for it.
    return MODULE_STATUS_NO_SUBSCRIBERS;
}

void RoadPrinter::printOther(const std::u16string& name) {
    if (!name.starts_with(BREVANT_ALERT_PREFIX) && !name.starts_with(viewerTopic_))
        print(name);
}

void RoadPrinter::print(const std::u16string& name) {
    console_.note(u"  bus  " + shortened(harmless(name), nameColumns));
    Platform::MutexLock lock(mutex_);
    printed_.push_back(name);
    if (printed_.size() > mostRemembered)
        printed_.pop_front();
    changed_.notifyAll();
}

bool RoadPrinter::hasPrinted(std::u16string_view name) const {
    const bool isEnding = name.starts_with(u'.');
    return std::ranges::any_of(printed_, [&](const std::u16string& printed) {
        return isEnding ? printed.ends_with(name) : printed == name;
    });
}

bool RoadPrinter::waitFor(const std::u16string& name, std::chrono::milliseconds timeout) {
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto deadline = Platform::deadlineAfter(clock.now(), timeout);
    Platform::MutexLock lock(mutex_);
    for (;;) {
        if (hasPrinted(name))
            return true;
        if (!clock.waitUntil(changed_, lock, deadline))
            return false;
    }
}

}  // namespace Host
