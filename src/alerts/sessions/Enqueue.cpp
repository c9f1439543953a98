#include "alerts/sessions/Enqueue.h"

#include <utility>

#include "alerts/dispatcher/AlertDispatcher.h"
#include "alerts/viewers/AlertEvent.h"
#include "logging/Log.h"

namespace Vok {

bool enqueue(std::shared_ptr<Alert> alert, AlertDispatcher& dispatcher, MarkedMutex& mutex, AlertQueue& queue,
             std::u16string_view source, std::u16string_view function) {
    const AlertInfo& info = alert->getInfo();
    if (!dispatcher.process(alert)) {
        ETWLogging::logFormatted(ETWLogging::levelInformation, source, function, __LINE__,
                                 // compat
                                 u"Plugin suppressed the alert. Alert id: %ls, Instance: %ls.", info.id,
                                 info.instanceId);
        return false;
    }
    MarkedLock lock(mutex);
    if (queue.insert(std::move(alert)))
        return true;
    // A refused alert stays here, and with it its info.
    ETWLogging::logFormatted(
        ETWLogging::levelError, source, function, __LINE__,
        u"Failed to queue alert. Alert will be suppressed. Alert id: %ls, Instance: %ls.", info.id,
        info.instanceId);
    sendAlertEvent({.identifier = u"Brevant.Alert.SuppressedDuplicate",
                    .action = u"SuppressedDuplicate",
                    .tertiaryCategory = u"SuppressedDuplicate",
                    .alertId = info.id,
                    .hitLabel = info.product});
    return false;
}

}  // namespace Vok
