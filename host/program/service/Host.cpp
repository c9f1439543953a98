#include "host/program/service/Host.h"

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "platform/Folders.h"
#include "platform/UserSessions.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr const char16_t* moduleFile = HOST_MODULE_FILE;
constexpr const char16_t* busFile = u"MessageBus.dll";
constexpr const char16_t* pluginFile = HOST_PLUGIN_FILE;
constexpr auto registrationPatience = std::chrono::seconds(10);
constexpr auto roadPatience = std::chrono::seconds(3);

}  // namespace

std::u16string usualStore() {
    return Platform::commonDataFolder() + u"\\Corvane\\Brevant\\settings.json";
}

Host::Host(SettingsStore& store, Console& console, AlertDisplay& display, bool handsOverBus)
    : console_(console),
      handsOverBus_(handsOverBus),
      bus_(besideProgram(busFile)),
      settings_(bus_.functions(), store),
      road_(bus_.functions(), console, ConsoleViewer::id),
      viewer_(bus_.functions(), display, [this](const auto& choice) { road_.printOther(choice); }),
      sessionsBus_(bus_.functions(), u"SystemMonitor"),
      product_(bus_.functions()) {
    module_.emplace(besideProgram(moduleFile), logGroup);
    if (handsOverBus)
        module_->startOnBus(bus_.functions());
    else
        module_->startWithOwnBus();
    // Once the module runs, so that it hears of the viewer as of any that comes later.
    if (!viewer_.registerViewer())
        throw HostError("the settings manager refuses the viewer's registration");
    // An alert that came before the broker knows its viewer would be suppressed.
    if (!road_.waitFor(Brevant::viewerMessage(ConsoleViewer::id, BREVANT_VIEWER_REGISTERED),
                       registrationPatience))
        console_.error(u"the broker does not take notice of the viewer");
    sessions_.emplace(Platform::enumerateUserSessions,
                      [this](const auto& name, const auto& payload) { sessionsBus_.publish(name, payload); });
    sessions_->start();
}

void Host::shutDown() {
    viewer_.close();
    sessions_.reset();
    module_.reset();
}

std::u16string Host::description() const {
    return std::u16string(u"broker ") + module_->version() +
           (handsOverBus_ ? u" on the bus that the host hands over" : u" on the bus that it opens itself");
}

// Why the broker will not show an alert of that session at once; empty when nothing keeps it.
std::u16string Host::waitingReason(uint32_t session) {
    std::vector<Platform::UserSession> sessions;
    if (!Platform::enumerateUserSessions(sessions))
        return u"the user sessions cannot be listed, and the alert waits until they can be";
    const std::optional<uint32_t> active = Platform::activeUserSession(sessions);
    if (!active)
        return u"no user session is active, and the alert waits until one is";
    return session == 0 || session == *active
               ? std::u16string()
               : u"session " + Ferrow::decimal(session) +
                     u" is not the active one, and the alert waits until it is";
}

bool Host::play(const AlertFile& alert) {
    if (const std::u16string reason = waitingReason(alert.sessionId()); !reason.empty())
        console_.line(u"Note: " + reason);
    if (!product_.definePlugin(alert.product(), pluginFile))
        console_.error(u"the settings manager refuses a plugin definition for \"" + alert.product() + u"\"");
    const std::optional<std::u16string> instance = product_.instanceId();
    if (!instance) {
        console_.error(u"the broker gives no instance id");
        return false;
    }
    const Product::Outcome outcome = product_.show(alert, *instance);
    if (outcome == Product::Outcome::dismissed || outcome == Product::Outcome::failed)
        road_.waitFor(Brevant::alertMessage(alert.id(), BREVANT_ALERT_QUEUED, *instance), roadPatience);
    if (const std::u16string message = product_.outcomeMessage(); !message.empty())
        road_.waitFor(message, roadPatience);
    const std::u16string name = u"alert \"" + alert.id() + u"\", instance " + *instance + u": ";
    switch (outcome) {
        case Product::Outcome::dismissed:
            console_.line(u"Outcome of " + name + u"shown and dismissed");
            return true;
        case Product::Outcome::suppressed:
            console_.line(u"Outcome of " + name +
                          u"suppressed: by its plugin, for want of a registered viewer, or as a duplicate");
            return true;
        case Product::Outcome::failed:
            console_.line(u"Outcome of " + name + u"failed");
            return false;
        case Product::Outcome::unanswered:
            console_.line(u"Outcome of " + name +
                          u"unknown: the broker refused the alert or no outcome came in time");
            return false;
        case Product::Outcome::cancelled:
            break;
    }
    console_.line(u"Outcome of " + name + u"unknown: the host was asked to end");
    return false;
}

}  // namespace Host
