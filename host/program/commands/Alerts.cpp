#include "host/program/commands/Alerts.h"

#include <algorithm>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "platform/Thread.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Kind = AlertOutcome::Kind;

constexpr auto registrationPatience = std::chrono::seconds(10);

struct Words {
    const char16_t* name;  // for programs
    const char16_t* text;
    ExitCode code;
    Style style;
};

Words wordsFor(const AlertOutcome& outcome) {
    switch (outcome.kind) {
        case Kind::chosen:
            return {u"chosen", u"shown, and chosen was", exitDone, Style::good};
        case Kind::dismissed:
            return {u"dismissed", u"shown and dismissed", exitDismissed, Style::good};
        case Kind::timedOut:
            return {u"timedOut", u"shown, and nobody chose in time", exitTimedOut, Style::plain};
        case Kind::suppressed:
            return {u"suppressed", u"suppressed", exitSuppressed, Style::plain};
        case Kind::failed:
            return {u"failed", outcome.wasShown ? u"failed after it was shown" : u"failed", exitAlertFailed,
                    Style::bad};
        case Kind::withdrawn:
            return {u"withdrawn", u"withdrawn", exitWithdrawn, Style::plain};
        case Kind::lost:
            return {u"lost", u"lost", exitLost, Style::bad};
        case Kind::unknown:
            break;
    }
    return {u"unknown", u"unknown", exitUnknown, Style::bad};
}

std::u16string joined(const std::vector<std::u16string>& parts) {
    std::u16string text;
    for (const std::u16string& part : parts)
        text += (text.empty() ? u"" : u", ") + part;
    return text;
}

// Why the broker has not let the alert into a queue, as far as it shows from outside.
std::u16string whySuppressed(const AlertFile& alert, const std::u16string& instance,
                             const HostStatus& status) {
    if (status.viewers.empty())
        return u"no viewer is registered";
    std::vector<std::u16string> preferred, there;
    alert.view().getStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, preferred);
    for (const HostStatus::Viewer& viewer : status.viewers)
        there.push_back(viewer.id);
    if (!preferred.empty() &&
        std::ranges::none_of(preferred, [&](const auto& id) { return status.hasViewer(id); }))
        return u"none of its viewers (" + joined(preferred) + u") is registered, but " + joined(there);
    const std::u16string likeness = likenessOf(alert.view());
    for (const HostStatus::Alert& other : status.alerts) {
        if (!likeness.empty() && !other.isShown && other.likeness == likeness && other.instance != instance)
            return u"its like, alert \"" + other.id + u"\", instance " + other.instance + u", waits already";
    }
    return u"its plugin does not want it shown, or names no viewer that is registered";
}

}  // namespace

std::optional<std::vector<AlertFile>> readAlerts(const std::vector<std::u16string>& files, Console& console) {
    std::vector<AlertFile> alerts(files.size());
    for (size_t at = 0; at < alerts.size(); ++at) {
        std::u16string error;
        if (!alerts[at].read(files[at], error)) {
            console.error(error);
            return std::nullopt;
        }
    }
    return alerts;
}

PublishedAlerts::PublishedAlerts(const BrevantBusFunctions& functions, const std::vector<AlertFile>& alerts,
                                 HostClient& host, Console& console)
    : alerts_(alerts),
      queued_(alerts.size()),
      ended_(alerts.size()),
      missing_(alerts.size()),
      host_(host),
      console_(console),
      product_(functions) {}

bool PublishedAlerts::publish() {
    for (const AlertFile& alert : alerts_) {
        if (!product_.ensurePlugin(alert.product()))
            console_.note(u"Note: no plugin serves the product \"" + alert.product() + u"\"");
        const std::optional<std::u16string> instance = product_.instanceId();
        if (!instance) {
            console_.error(u"the broker gives no instance id");
            return false;
        }
        instances_.push_back(*instance);
    }
    for (size_t at = 0; at < alerts_.size(); ++at)
        product_.publish(alerts_[at], instances_[at]);
    return true;
}

bool PublishedAlerts::hasOpen() const {
    return std::ranges::count(ended_, false) != 0;
}

Product::Step::Kind PublishedAlerts::advance(std::chrono::milliseconds most) {
    Product::Step step = product_.next(most);
    if (step.kind == Product::Step::Kind::queued)
        queued_[step.alert] = true;
    else if (step.kind == Product::Step::Kind::ended)
        tell(step.alert, std::move(step.outcome));
    return step.kind;
}

void PublishedAlerts::follow(bool untilQueued, StopRequest& stop) {
    const StopRequest::Listener listener(stop, [this] { product_.cancel(); });
    const auto isQueued = [this] {
        for (size_t at = 0; at < alerts_.size(); ++at) {
            if (!queued_[at] && !ended_[at])
                return false;
        }
        return true;
    };
    const Platform::Clock& clock = Platform::Clock::steady();
    auto nextLook = clock.now() + HostClient::lookInterval;
    while (!untilQueued || !isQueued()) {
        switch (advance(HostClient::lookInterval)) {
            case Product::Step::Kind::over:
                return;
            case Product::Step::Kind::cancelled:
                for (size_t at = 0; at < alerts_.size(); ++at) {
                    if (!ended_[at])
                        tell(at, {.kind = Kind::unknown, .why = u"this program was asked to end"});
                }
                return;
            default:
                break;
        }
        if (clock.now() < nextLook)
            continue;
        nextLook = clock.now() + HostClient::lookInterval;
        switch (host_.look()) {
            case HostClient::Change::gone:
                console_.error(u"the host is gone; waiting for it");
                break;
            case HostClient::Change::back:
                console_.note(u"the host is back");
                break;
            case HostClient::Change::replaced:
                product_.loseAll(u"the host that held it has ended, and another runs now");
                break;
            case HostClient::Change::none:
                if (host_.seen())
                    giveUpForgotten(*host_.seen());
                break;
        }
    }
    for (size_t at = 0; at < alerts_.size(); ++at) {
        if (ended_[at])
            continue;
        if (console_.isForPrograms()) {
            Tavix::JSONFormatter object;
            object.setString(u"alert", alerts_[at].id());
            object.setString(u"instance", instances_[at]);
            object.setString(u"outcome", u"queued");
            console_.object(object);
        } else {
            console_.line(u"Alert \"" + alerts_[at].id() + u"\", instance " + instances_[at] + u": queued");
        }
    }
}

void PublishedAlerts::giveUpForgotten(const HostStatus& status) {
    // What passes at the same time as a look is still on its way.
    constexpr int looks = 3;
    if (status.alerts.size() != size_t{status.waiting} + status.shown)
        return;
    for (size_t at = 0; at < alerts_.size(); ++at) {
        const bool isHeld = std::ranges::any_of(
            status.alerts, [&](const HostStatus::Alert& alert) { return alert.instance == instances_[at]; });
        missing_[at] = queued_[at] && !ended_[at] && !isHeld ? missing_[at] + 1 : 0;
        if (missing_[at] == looks)
            product_.giveUp(at, u"the host no longer has it, and what became of it was not heard");
    }
}

std::u16string PublishedAlerts::reasonFor(size_t index, const AlertOutcome& outcome) {
    if (!outcome.why.empty())
        return outcome.why;
    if (outcome.kind == Kind::suppressed) {
        const std::optional<HostStatus> status = host_.status();
        return status ? whySuppressed(alerts_[index], instances_[index], *status) : std::u16string();
    }
    if (outcome.kind != Kind::failed)
        return {};
    if (outcome.wasShown)
        return u"its viewer gave it up";
    return product_.ensurePlugin(alerts_[index].product())
               ? u"its plugin supplied no content, or its viewer did not confirm it"
               : u"no plugin supplies the content of the alerts of \"" + alerts_[index].product() + u"\"";
}

void PublishedAlerts::tell(size_t index, AlertOutcome outcome) {
    ended_[index] = true;
    const AlertFile& alert = alerts_[index];
    if (beforeOutcome)
        beforeOutcome(instances_[index], alert, outcome);
    const Words words = wordsFor(outcome);
    exitCode_ = std::max<int>(exitCode_, words.code);
    outcome.why = reasonFor(index, outcome);
    if (console_.isForPrograms()) {
        Tavix::JSONFormatter object;
        object.setString(u"alert", alert.id());
        object.setString(u"instance", instances_[index]);
        object.setString(u"outcome", words.name);
        if (outcome.kind == Kind::chosen) {
            object.setString(u"action", outcome.action);
            object.setString(u"message", outcome.message.name);
            object.setString(u"payload", outcome.message.payload);
        }
        if (!outcome.why.empty())
            object.setString(u"why", outcome.why);
        console_.object(object);
        return;
    }
    std::u16string line =
        u"Outcome of alert \"" + alert.id() + u"\", instance " + instances_[index] + u": " + words.text;
    if (outcome.kind == Kind::chosen)
        line += u" \"" + outcome.action + u"\" (" + outcome.message.name +
                (outcome.message.payload.empty() ? u"" : u" " + outcome.message.payload) + u")";
    if (!outcome.why.empty())
        line += u": " + outcome.why;
    console_.line(line, words.style);
}

std::unique_ptr<AlertDisplay> answeringDisplay(const std::optional<FixedAnswer>& answer, Console& console) {
    return answer ? std::make_unique<AnswerDisplay>(console, *answer) : nullptr;
}

void introduce(ConsoleViewer& viewer, const BrevantBusFunctions& functions, Console& console) {
    Platform::Mutex mutex;
    Platform::ConditionVariable changed;
    bool known = false;
    BusConnection connection(functions, u"brevant");
    connection.subscribe(Brevant::viewerMessage(viewer.id(), BREVANT_VIEWER_REGISTERED),
                         [&](const ReceivedMessage&) {
                             Platform::MutexLock lock(mutex);
                             known = true;
                             changed.notifyAll();
                             return MODULE_STATUS_SUCCESS;
                         });
    if (!viewer.registerViewer())
        throw HostError("the settings manager refuses the viewer's registration");
    {
        const Platform::Clock& clock = Platform::Clock::steady();
        const auto deadline = Platform::deadlineAfter(clock.now(), registrationPatience);
        Platform::MutexLock lock(mutex);
        while (!known && clock.waitUntil(changed, lock, deadline)) {
        }
        if (!known)
            console.error(u"the broker does not take notice of the viewer");
    }
    connection.close();
}

void endHost(Host& host, ConsoleViewer* viewer, bool takesDown, std::chrono::seconds grace,
             CommandContext& context) {
    StopRequest ended;
    Platform::Thread ending([&] {
        if (takesDown)
            host.takeDownAlerts(grace);
        if (viewer)
            viewer->close();
        host.shutDown();
        ended.raise();
    });
    if (!ended.waitFor(grace)) {
        const std::u16string held = joined(host.heldAlerts());
        context.console.error(u"left without waiting any longer" +
                              (held.empty() ? u": a plugin or a viewer does not return" : u" for " + held));
        context.leave(exitHeld);
    }
    ending.join();
}

}  // namespace Host
