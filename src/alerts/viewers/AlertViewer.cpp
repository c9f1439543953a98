#include "alerts/viewers/AlertViewer.h"

#include <utility>

#include <brevant/cpp/alerts.h>
#include <brevant/status.h>

#include "alerts/viewers/AlertEvent.h"
#include "bus/MessageBusClient.h"
#include "logging/Log.h"
#include "status/ModuleStatus.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"AlertViewer";

}  // namespace

AlertViewer::AlertViewer(const std::u16string& id, std::shared_ptr<Tavix::MessageBusClient> busClient)
    : id_(id),
      showTopic_(Brevant::viewerMessage(id, BREVANT_VIEWER_SHOW)),
      deleteTopic_(Brevant::viewerMessage(id, BREVANT_VIEWER_DELETE)),
      busClient_(busClient ? std::move(busClient) : std::make_shared<Tavix::MessageBusClient>()) {}

AlertViewer::~AlertViewer() = default;

const std::u16string& AlertViewer::getId() const {
    return id_;
}

bool AlertViewer::show(const std::u16string& payload, const std::u16string& alertId,
                       const std::u16string& instanceId) {
    const uint32_t status = exchange(u"Vok::AlertViewer::show",
                                     Tavix::makeMessage(showTopic_ + instanceId, BREVANT_SENDER, payload),
                                     Brevant::alertMessage(alertId, BREVANT_ALERT_SHOWN, instanceId));
    if (status != MODULE_STATUS_SUCCESS) {
        reportFailure(u"Show", status, alertId, instanceId);
        return false;
    }
    AlertEvent event{u"Brevant.Alert.Shown", u"Shown", u"Shown", alertId};
    event.hitLabel = id_;
    event.interactive = true;
    sendAlertEvent(event);
    return true;
}

bool AlertViewer::dismiss(const std::u16string& alertId, const std::u16string& instanceId) {
    const uint32_t status = exchange(u"Vok::AlertViewer::dismiss",
                                     Tavix::makeMessage(deleteTopic_ + instanceId, BREVANT_SENDER, u""),
                                     Brevant::alertMessage(alertId, BREVANT_ALERT_DISMISSED, instanceId));
    if (status != MODULE_STATUS_SUCCESS) {
        reportFailure(u"Dismiss", status, alertId, instanceId);
        return false;
    }
    AlertEvent event{u"Brevant.Alert.Dismissed", u"Dismissed", u"Dismissal", alertId};  // compat
    event.hitLabel = id_;
    event.interactive = true;
    event.userInitiated = true;  // compat
    sendAlertEvent(event);
    return true;
}

uint32_t AlertViewer::exchange(const char16_t* function, const std::shared_ptr<Tavix::Message>& request,
                               const std::u16string& expectedName) {
    std::shared_ptr<Tavix::Reply> reply;
    const uint32_t sent = busClient_->requestAlternate(request, reply, requestTimeout);  // compat
    if (sent != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to make request, status: %ls",
                      Tavix::moduleStatusName(sent));
        // Whatever kept it from going out: nobody has heard of the alert.
        return MODULE_STATUS_NO_SUBSCRIBERS;  // compat
    }
    const Tavix::ReplyState state = reply->wait();
    if (state != Tavix::ReplyState::received) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Request failed with status %d.", state);
        return state == Tavix::ReplyState::timedOut ? MODULE_STATUS_TIMEOUT : MODULE_STATUS_DATA_ERROR;
    }
    const std::shared_ptr<Tavix::Message> answer = reply->getMessage();
    if (answer->name() != expectedName) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Received invalid response message: %ls, expected: %ls.", answer->name(),
                      expectedName);
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    return MODULE_STATUS_SUCCESS;
}

void AlertViewer::reportFailure(const char16_t* label, uint32_t status, const std::u16string& alertId,
                                const std::u16string& instanceId) {
    sendAlertEvent(failureEvent(alertId, label, status, id_));
    busClient_->publish(
        // compat
        Tavix::makeMessage(Brevant::alertMessage(alertId, BREVANT_ALERT_FAILED, instanceId), u"", u""));
}

}  // namespace Vok
