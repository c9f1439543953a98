#include "host/program/RoadPrinter.h"

#include <algorithm>

#include "host/program/HostError.h"
#include "host/program/TerminalText.h"
#include "platform/Clock.h"

namespace Host {
namespace {

constexpr size_t nameColumns = 200;
constexpr auto causePatience = std::chrono::seconds(2);
constexpr std::u16string_view responseEnding = u".Response";
constexpr const char16_t* alertTopic = u"Brevant.Alert.";
constexpr std::u16string_view showTopic = u"Brevant.Alert.Show.";
constexpr std::u16string_view idRequest = u"Brevant.Alert.GetId";
constexpr std::u16string_view idAnswer = u"Brevant.Alert.GetId.Response";

}  // namespace

RoadPrinter::RoadPrinter(const BrevantBusFunctions& functions, Console& console,
                         const std::u16string& viewerTopic)
    : console_(console), viewerTopic_(viewerTopic), connection_(functions, u"RoadPrinter") {
    const std::u16string pattern =
        u"(" + literalPattern(alertTopic) + u"|" + literalPattern(viewerTopic_) + u").+";
    if (!connection_.subscribePattern(pattern,
                                      [this](const ReceivedMessage& message) { return onMessage(message); }))
        throw HostError("the message bus refuses the printer's subscription");
}

// The message that must have gone before; empty when none is known.
std::u16string RoadPrinter::causeOf(const std::u16string& name) const {
    if (name.ends_with(responseEnding))
        return name.substr(0, name.size() - responseEnding.size());
    if (name.starts_with(showTopic)) {
        // An alert may be shown under an instance that nobody asked for.
        Platform::MutexLock lock(mutex_);
        return std::u16string(hasPrinted(idRequest) ? idAnswer : std::u16string_view());
    }
    const size_t instance = name.rfind(u'.');
    const size_t word = instance == 0 || instance == name.npos ? name.npos : name.rfind(u'.', instance - 1);
    if (word == name.npos)
        return {};
    const std::u16string_view status = std::u16string_view(name).substr(word, instance - word);
    if (name.starts_with(viewerTopic_ + u"Show"))
        return u".Queued" + name.substr(instance);
    if (status == u".Queued" || status == u".Suppressed")
        return std::u16string(showTopic) + name.substr(instance + 1);
    return status == u".Shown" ? viewerTopic_ + u"Show" + name.substr(instance) : std::u16string();
}

uint32_t RoadPrinter::onMessage(const ReceivedMessage& message) {
    if (const std::u16string cause = causeOf(message.name); !cause.empty())
        waitFor(cause, causePatience);
    print(message.name);
    // It answers nothing: a request that nobody else takes must not wait for it.
    return MODULE_STATUS_NO_SUBSCRIBERS;
}

void RoadPrinter::printOther(const std::u16string& name) {
    if (!name.starts_with(alertTopic) && !name.starts_with(viewerTopic_))
        print(name);
}

void RoadPrinter::print(const std::u16string& name) {
    console_.line(u"  bus  " + shortened(harmless(name), nameColumns));
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
