#include "host/program/service/Host.h"

#include <algorithm>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"
#include "host/program/connection/HostMessages.h"
#include "host/program/connection/LibraryFile.h"
#include "host/program/connection/SettingsRequests.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/UserSessions.h"
#include "text/Utf.h"

namespace Host {
namespace {

uint32_t secondsSince(Platform::Clock::Time time) {
    const auto passed = Platform::Clock::steady().now() - time;
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

const char16_t* nameOf(Platform::UserSessionState state) {
    switch (state) {
        case Platform::UserSessionState::active:
            return u"active";
        case Platform::UserSessionState::connected:
            return u"connected";
        case Platform::UserSessionState::disconnected:
            return u"disconnected";
        case Platform::UserSessionState::idle:
            return u"idle";
        case Platform::UserSessionState::other:
            break;
    }
    return u"other";
}

}  // namespace

std::u16string usualStore() {
    return Platform::commonDataFolder() + u"\\Corvane\\Brevant\\settings.json";
}

std::u16string busLibraryFile() {
    return besideProgram(u"MessageBus.dll");
}

std::u16string moduleFile() {
    return besideProgram(HOST_MODULE_FILE);
}

std::u16string logFolder() {
    std::u16string name = Platform::executablePath();
    name.erase(0, name.rfind(u'\\') + 1);
    name.erase(std::min(name.rfind(u'.'), name.size()));
    return Platform::commonDataFolder() + u"\\Corvane\\CVLOGS\\" + logGroup + u"\\" + name;
}

Host::Host(const BrevantBusFunctions& functions, SettingsStore& store, const std::u16string& busName,
           bool handsOverBus, bool standsIn)
    : store_(store),
      busName_(busName),
      handsOverBus_(handsOverBus),
      start_(Ferrow::decimal(Platform::currentProcessId()) + u"-" +
             Ferrow::decimal(static_cast<uint64_t>(Platform::Clock::wall().now().count()))),
      settings_(functions, store),
      alerts_(functions),
      sessionsBus_(functions, u"SystemMonitor"),
      connection_(functions, u"BrevantHost"),
      statusBus_(functions, u"BrevantHost") {
    module_.emplace(moduleFile(), logGroup);
    if (handsOverBus)
        module_->startOnBus(functions);
    else
        module_->startWithOwnBus();
    version_ = module_->version();
    sessions_.emplace(Platform::enumerateUserSessions,
                      [this](const auto& name, const auto& payload) { sessionsBus_.publish(name, payload); });
    sessions_->start();
    presence_.emplace(store_, connection_);
    const auto answer = [this](const ReceivedMessage& request, const std::u16string& payload) {
        return statusBus_.reply(request, request.name + u".Response", payload,
                                BusConnection::Audience::requesterOnly);
    };
    bool subscribed = statusBus_.subscribe(BREVANT_HOST_STATUS, [=, this](const ReceivedMessage& request) {
        return answer(request, status().toJson().toString());
    });
    if (standsIn)
        subscribed =
            subscribed && statusBus_.subscribe(BREVANT_HOST_STAND_IN, [=, this](const auto& request) {
                return standIn(request.payload) ? answer(request, {}) : MODULE_STATUS_UNSUCCESSFUL;
            });
    if (!subscribed)
        throw HostError("the message bus refuses the host's subscriptions");
    presence_->start();
}

void Host::shutDown() {
    statusBus_.close();
    presence_.reset();
    sessions_.reset();
    module_.reset();
}

bool Host::standIn(const std::u16string& product) {
    const std::u16string property = Brevant::property(BREVANT_PRODUCT_KEY, product);
    if (hasProperty(connection_, property))
        return true;
    Tavix::JSONFormatter definition;
    definition.setString(BREVANT_PLUGIN_FILE, HOST_PLUGIN_FILE);
    definition.setString(BREVANT_PLUGIN_PATH, u"$(App.Folder)");
    return setVolatileProperty(connection_, property, definition.toString());
}

std::vector<std::u16string> Host::heldAlerts() const {
    return alerts_.held();
}

void Host::takeDownAlerts(std::chrono::milliseconds most) {
    connection_.requestAll(alerts_.deletions(), most);
}

HostStatus Host::status() const {
    HostStatus status;
    status.process = Platform::currentProcessId();
    status.start = start_;
    status.version = version_;
    status.bus = busName_;
    status.uptimeSeconds = secondsSince(began_);
    for (const Presence::Registered& viewer : Presence::registered(store_)) {
        HostStatus::Viewer& entry =
            status.viewers.emplace_back(HostStatus::Viewer{viewer.id, viewer.isAsked, {}});
        if (const auto sign = presence_->lastSign(viewer.id))
            entry.lastSignSeconds = secondsSince(*sign);
    }
    std::vector<Platform::UserSession> sessions;
    Platform::enumerateUserSessions(sessions);
    for (const Platform::UserSession& session : sessions)
        status.sessions.push_back({session.id, nameOf(session.state)});
    const std::u16string prefix = Brevant::property(BREVANT_PRODUCT_KEY, {});
    for (const Property& property : store_.withPrefix(prefix)) {
        HostStatus::Plugin& plugin = status.plugins.emplace_back();
        plugin.product = property.name.substr(prefix.size());
        if (Tavix::JSONFormatter definition; definition.parse(property.value))
            definition.getString(BREVANT_PLUGIN_FILE, plugin.file);
    }
    alerts_.describe(status);
    return status;
}

std::u16string Host::description() const {
    return u"broker " + version_ +
           (handsOverBus_ ? u" on the bus that the host hands over" : u" on the bus that it opens itself");
}

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

}  // namespace Host
