#include "module/BrevantImpl.h"

#include <algorithm>
#include <iterator>

#include <brevant/cpp/alerts.h>

#include "alerts/dispatcher/MarkedMutex.h"
#include "json/JSONFormatter.h"
#include "logging/Log.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"BrevantImpl";
// Of a payload that makes no sense, this much is logged.
constexpr size_t loggedPayload = 100;

std::u16string_view payloadHead(const Tavix::Message& message) {
    return std::u16string_view(message.payload()).substr(0, loggedPayload);
}

}  // namespace

BrevantImpl::BrevantImpl(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                         std::shared_ptr<PluginRegistrar> pluginRegistrar,
                         std::shared_ptr<AlertSessionFactory> sessionFactory,
                         SessionEnumerator enumerateSessions)
    : viewerRegistrar_(viewerRegistrar ? std::move(viewerRegistrar) : std::make_shared<ViewerRegistrar>()),
      pluginRegistrar_(pluginRegistrar ? std::move(pluginRegistrar) : std::make_shared<PluginRegistrar>()),
      sessionFactory_(sessionFactory ? std::move(sessionFactory) : std::make_shared<AlertSessionFactory>()),
      enumerateSessions_(std::move(enumerateSessions)),
      globalSession_(sessionFactory_->createGlobalSession(viewerRegistrar_, pluginRegistrar_)),
      gate_(std::make_shared<Tavix::CallbackGate>()) {}

BrevantImpl::~BrevantImpl() {
    // Callbacks that run, and alerts on screen, may keep this waiting for minutes.
    globalSession_->closeScreens();
    gate_->close();
    deferred_.end();
    // Destroyed outside the lock, one after the other while all their alerts' waits go on.
    decltype(userSessions_) ending;
    Sessions left;
    MarkedLock lock(sessionsMutex_);
    ending.swap(userSessions_);
    left.swap(leftSessions_);
}

uint32_t BrevantImpl::initialize() {
    setupHandlers();
    return MODULE_STATUS_SUCCESS;
}

uint32_t BrevantImpl::start() {
    viewerRegistrar_->start();
    pluginRegistrar_->start();
    return MODULE_STATUS_SUCCESS;
}

uint32_t BrevantImpl::stop() {
    viewerRegistrar_->stop();
    pluginRegistrar_->stop();
    return MODULE_STATUS_SUCCESS;
}

uint32_t BrevantImpl::uninitialize() {
    cleanupHandlers();
    return MODULE_STATUS_SUCCESS;
}

void BrevantImpl::setupHandlers() {
    handlers_[BREVANT_ALERT_SHOW u".+"] = lockingCallback(&BrevantImpl::showAlertHandler);      // compat
    handlers_[BREVANT_ALERT_DELETE u".+"] = lockingCallback(&BrevantImpl::deleteAlertHandler);  // compat
    handlers_[BREVANT_ALERT_GET_ID] = callback(&BrevantImpl::getIdHandler);                     // compat
    handlers_[BREVANT_SESSION_LOGOFF] = lockingCallback(&BrevantImpl::handleSessionLogoff);     // compat
    for (const auto& [pattern, handler] : handlers_) {
        const uint32_t status = subscribeFilter(pattern, pattern, handler);
        if (status != MODULE_STATUS_SUCCESS) {
            LOG_FORMATTED(ETWLogging::levelWarning, u"Vok::BrevantImpl::setupHandlers",
                          u"Unable to subscribe to message %ls : returned %lu.", pattern, status);
        }
    }
}

void BrevantImpl::cleanupHandlers() {
    for (const auto& [pattern, handler] : handlers_) {
        const uint32_t status = unsubscribe(pattern);
        if (status != MODULE_STATUS_SUCCESS) {
            LOG_FORMATTED(ETWLogging::levelWarning, u"Vok::BrevantImpl::cleanupHandlers",
                          // compat
                          u"Unable to unsubscribe to message %ls : returned %lu.", pattern, status);
        }
    }
}

Tavix::MessageCallback BrevantImpl::callback(Handler handler) {
    return Tavix::gated(gate_, [this, handler](const std::shared_ptr<Tavix::Message>& message) {
        return (this->*handler)(*message);
    });
}

Tavix::MessageCallback BrevantImpl::lockingCallback(Handler handler) {
    return Tavix::gated(gate_, [this, handler](const std::shared_ptr<Tavix::Message>& message) {
        if (!MarkedMutex::isHeldByCurrentThread())
            return (this->*handler)(*message);
        // A bus that delivers from inside a request of a session: the handler would wait for its own thread.
        if (deferred_.add([this, handler, message] { (this->*handler)(*message); }))
            return MODULE_STATUS_SUCCESS;
        LOG_FORMATTED(ETWLogging::levelError, u"Vok::BrevantImpl::lockingCallback",
                      u"Too many requests wait. Dropping %ls.", message->name());
        return MODULE_STATUS_UNSUCCESSFUL;
    });
}

uint32_t BrevantImpl::answer(const Tavix::Message& request, std::u16string name, std::u16string sender,
                             std::u16string payload) {
    return publish(Tavix::makeReply(request, std::move(name), std::move(sender), std::move(payload)));
}

bool BrevantImpl::parseInstanceId(const std::u16string& messageName, std::u16string& instanceId) const {
    const size_t dot = messageName.rfind(u'.');
    if (dot == std::u16string::npos)
        return false;
    const auto number = Ferrow::parseUnsigned32(std::u16string_view(messageName).substr(dot + 1));
    if (!number || number.value > nextInstanceId_)  // compat
        return false;
    instanceId = messageName.substr(dot + 1);
    return true;
}

uint32_t BrevantImpl::getIdHandler(const Tavix::Message& request) {
    // compat
    return answer(request, BREVANT_ALERT_GET_ID_RESPONSE, BREVANT_SENDER, Ferrow::decimal(nextInstanceId_++));
}

uint32_t BrevantImpl::showAlertHandler(const Tavix::Message& request) {
    constexpr std::u16string_view function = u"Vok::BrevantImpl::showAlertHandler";
    std::u16string instanceId;
    if (!parseInstanceId(request.name(), instanceId)) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to parse instance id from message name: %ls.", request.name());
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    AlertInfo info;
    // A zero would end the names of the alert's messages: nobody could follow such an alert.
    if (!info.fromJson(request.payload()) || info.id.find(u'\0') != std::u16string::npos) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to parse message payload. Instance: %ls.",
                      instanceId);
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    if (instanceId != info.instanceId) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Invalid input. Instance name and payload are mismatached.");  // compat
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    const std::u16string id = info.id;
    auto alert = std::make_shared<Alert>(std::move(info));
    bool suppressed = false;
    {
        Sessions ended;
        MarkedLock lock(sessionsMutex_);
        ended = takeEndedSessions();
        queueAlert(std::move(alert), suppressed);
    }
    return answer(request, Brevant::alertMessage(
                               // compat
                               id, suppressed ? BREVANT_ALERT_SUPPRESSED : BREVANT_ALERT_QUEUED, instanceId));
}

void BrevantImpl::queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) {
    if (const uint32_t sessionId = alert->getInfo().sessionId; sessionId != 0) {
        userSession(sessionId).queueAlert(std::move(alert), suppressed);
        return;
    }
    startActiveSession();
    globalSession_->queueAlert(std::move(alert), suppressed);
}

AlertUserSession& BrevantImpl::userSession(uint32_t sessionId) {
    auto found = userSessions_.find(sessionId);
    if (found == userSessions_.end()) {
        auto created =
            sessionFactory_->createUserSession(sessionId, viewerRegistrar_, pluginRegistrar_, globalSession_);
        found = userSessions_.emplace(sessionId, std::move(created)).first;
    }
    return *found->second;
}

void BrevantImpl::startActiveSession() {
    constexpr std::u16string_view function = u"Vok::BrevantImpl::startActiveSession";
    const auto active = findActiveSession(enumerateSessions_, logSource, function);
    if (!active || userSessions_.contains(*active))
        return;
    LOG_FORMATTED(ETWLogging::levelInformation, function,
                  u"Creating session for the active session. Session id: %lu.", *active);
    userSession(*active);
}

uint32_t BrevantImpl::deleteAlertHandler(const Tavix::Message& request) {
    constexpr std::u16string_view function = u"Vok::BrevantImpl::deleteAlertHandler";
    std::u16string instanceId;
    if (!parseInstanceId(request.name(), instanceId)) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to parse instance id from message name: %ls.", request.name());
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    // No alert id is known here, which leaves two dots in a row in the names.
    if (deleteAlert(instanceId)) {
        LOG_FORMATTED(ETWLogging::levelInformation, function, u"Alert instance %ls deleted.", instanceId);
        return answer(request, Brevant::alertMessage({}, BREVANT_ALERT_DELETED, instanceId));  // compat
    }
    LOG_FORMATTED(ETWLogging::levelInformation, function,
                  // compat
                  u"Alert instance %ls not found and not being shown - can't delete it", instanceId);
    return answer(request, Brevant::alertMessage({}, BREVANT_ALERT_NOT_FOUND, instanceId));  // compat
}

bool BrevantImpl::deleteAlert(const std::u16string& instanceId) {
    constexpr std::u16string_view function = u"Vok::BrevantImpl::deleteAlert";
    if (globalSession_->deleteAlert(instanceId)) {
        LOG_MESSAGE(ETWLogging::levelInformation, function, u"Alert removed from global queue.");
        return true;
    }
    MarkedLock lock(sessionsMutex_);
    for (const auto& [id, session] : userSessions_) {
        if (session->deleteAlert(instanceId)) {
            LOG_MESSAGE(ETWLogging::levelInformation, function, u"Alert removed from user session.");
            return true;
        }
    }
    return false;
}

uint32_t BrevantImpl::handleSessionLogoff(const Tavix::Message& message) {
    constexpr std::u16string_view function = u"Vok::BrevantImpl::handleSessionLogoff";
    Tavix::JSONFormatter payload;
    if (!payload.parse(message.payload())) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to parse %ls payload: %ls.", message.name(),
                      payloadHead(message));
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    uint32_t sessionId = 0;
    if (!payload.getUInt32(BREVANT_SESSION_ID, sessionId)) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to parse session id. Payload: %ls.",
                      payloadHead(message));
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    Sessions ended;
    MarkedLock lock(sessionsMutex_);
    ended = takeEndedSessions();
    if (const auto found = userSessions_.find(sessionId); found != userSessions_.end()) {
        LOG_FORMATTED(ETWLogging::levelInformation, function,
                      u"Clearing alert session after logout. Session id: %lu.", sessionId);
        leftSessions_.push_back(found->second);
        userSessions_.erase(found);
        leftSessions_.back()->stop();
    }
    return MODULE_STATUS_SUCCESS;
}

BrevantImpl::Sessions BrevantImpl::takeEndedSessions() {
    const auto ended = std::partition(leftSessions_.begin(), leftSessions_.end(),
                                      [](const auto& session) { return !session->hasEnded(); });
    Sessions taken(std::make_move_iterator(ended), std::make_move_iterator(leftSessions_.end()));
    leftSessions_.erase(ended, leftSessions_.end());
    return taken;
}

}  // namespace Vok
