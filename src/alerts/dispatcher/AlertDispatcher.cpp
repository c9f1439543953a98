#include "alerts/dispatcher/AlertDispatcher.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include <brevant/cpp/alerts.h>
#include <brevant/status.h>

#include "alerts/alert/Alert.h"
#include "alerts/plugins/PluginRegistrar.h"
#include "alerts/viewers/AlertEvent.h"
#include "alerts/viewers/AlertViewer.h"
#include "alerts/viewers/ViewerRegistrar.h"
#include "bus/MessageBusClient.h"
#include "logging/Log.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"AlertDispatcher";
constexpr const char16_t* defaultViewerId = u"KOV";  // compat
// What the plugin sets the flag to; every other value shows the alert.
constexpr uint32_t suppressed = 1;

// Seconds from the display's start until the outcome is given up.
uint32_t outcomeTimeout(uint32_t displaySeconds) {
    constexpr uint32_t extraSeconds = 30;
    constexpr uint32_t greatestExtended = 0xFFFFFFE0;  // compat
    return displaySeconds > greatestExtended ? displaySeconds : displaySeconds + extraSeconds;
}

}  // namespace

AlertDispatcher::AlertDispatcher(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                                 std::shared_ptr<PluginRegistrar> pluginRegistrar,
                                 std::shared_ptr<Tavix::MessageBusClient> busClient)
    : viewerRegistrar_(std::move(viewerRegistrar)),
      pluginRegistrar_(std::move(pluginRegistrar)),
      busClient_(busClient ? std::move(busClient) : std::make_shared<Tavix::MessageBusClient>()) {}

AlertDispatcher::~AlertDispatcher() {
    try {
        dismissCurrent();
    } catch (...) {
        // Without memory to ask its viewer, the alert on screen is left to its own timeout.
    }
}

bool AlertDispatcher::process(const std::shared_ptr<Alert>& alert) {
    constexpr const char16_t* function = u"Vok::AlertDispatcher::process";
    if (!alert)
        return false;
    const AlertInfo& info = alert->getInfo();
    std::u16string input = info.toJson();
    std::u16string processed;
    uint32_t suppress = 0;
    std::u16string extra;
    const uint32_t status = pluginRegistrar_->processAlert(info.product, input, processed, &suppress, extra);
    if (suppress == suppressed) {  // compat
        AlertEvent event{u"Brevant.Alert.Suppressed", u"Suppressed", u"Suppressed", info.id};
        event.hitLabel = info.product;
        sendAlertEvent(event);
        return false;
    }
    if (status != MODULE_STATUS_SUCCESS || processed.empty()) {
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to process the alert. Continuing with unprocessed input data.");
        sendAlertEvent(failureEvent(info.id, u"pluginProcessFailed", status));
        processed = input;
    }

    // Most plugins hand back what they were given, which need not be read to know what it says.
    AlertInfo changed;
    const bool unchanged = processed == input && info.readsBack();
    const AlertInfo& result = unchanged ? info : changed;
    if (!unchanged && !changed.fromJson(processed)) {  // compat
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to parse alert info.");
        sendAlertEvent(failureEvent(result.id, u"parseFailed", MODULE_STATUS_SUCCESS));
        return false;
    }
    for (const std::u16string& viewerId : result.preferredViewer) {
        if (std::shared_ptr<AlertViewer> viewer = viewerRegistrar_->findViewer(viewerId)) {
            alert->setViewer(std::move(viewer));
            return true;
        }
    }
    LOG_FORMATTED(ETWLogging::levelWarning, function, u"No viewer registered for alert: %ls.", result.id);
    sendAlertEvent(failureEvent(result.id, u"noViewerRegistered", MODULE_STATUS_SUCCESS));
    return false;
}

bool AlertDispatcher::show(std::shared_ptr<Alert>& alert) {
    constexpr const char16_t* function = u"Vok::AlertDispatcher::show";
    if (!alert)
        return false;
    dismissCurrent();

    MarkedLock lock(mutex_);
    alert_.swap(alert);
    isCurrent_ = true;
    const AlertInfo& info = alert_->getInfo();
    std::u16string viewerId = defaultViewerId;
    if (const std::shared_ptr<AlertViewer>& viewer = alert_->getViewer())
        viewerId = viewer->getId();
    else
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"No viewer assinged for alertId : %ls. Defaulting to KOV", info.id);  // compat

    std::u16string content;
    const uint32_t status = pluginRegistrar_->getAlertContent(info.product, info.toJson(), viewerId, content);
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to get alert content for alert %ls from plugin for product: %ls", info.id,
                      info.product);
        sendAlertEvent(failureEvent(info.id, u"getAlertContent", status, viewerId));
        busClient_->publish(Tavix::makeMessage(
            Brevant::alertMessage(info.id, BREVANT_ALERT_FAILED, info.instanceId), u"", u""));
        return false;
    }
    alert_->setContent(std::move(content));
    isCurrent_ = alert_->show();
    return isCurrent_;
}

bool AlertDispatcher::waitForCurrent() {
    std::shared_ptr<Alert> alert;
    {
        MarkedLock lock(mutex_);
        if (!isCurrent_)
            return false;
        alert = alert_;
    }
    if (alert->waitForOutcome(outcomeTimeout(alert->getInfo().timeout)))
        return true;
    AlertEvent event{u"Brevant.Alert.TimeOut", u"Time Out", u"TimeOut", alert->getInfo().id};  // compat
    if (const std::shared_ptr<AlertViewer>& viewer = alert->getViewer())
        event.hitLabel = viewer->getId();
    sendAlertEvent(event);
    return false;
}

void AlertDispatcher::releaseEnded() {
    std::shared_ptr<Alert> ended;
    MarkedLock lock(mutex_);
    if (!isCurrent_)
        ended.swap(alert_);
}

bool AlertDispatcher::dismissCurrent() {
    MarkedLock lock(mutex_);
    return dismissLocked();
}

bool AlertDispatcher::dismissCurrentIf(const std::u16string& instanceId) {
    MarkedLock lock(mutex_);
    return isCurrent_ && alert_->getInfo().instanceId == instanceId && dismissLocked();
}

bool AlertDispatcher::dismissLocked() {
    return std::exchange(isCurrent_, false) && alert_->dismiss();
}

}  // namespace Vok
