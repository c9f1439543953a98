#include "alerts/sessions/SuppressedDuplicate.h"

#include "alerts/viewers/AlertEvent.h"

namespace Vok {

void reportSuppressedDuplicate(const Alert& alert) {
    sendAlertEvent({.identifier = u"Brevant.Alert.SuppressedDuplicate",
                    .action = u"SuppressedDuplicate",
                    .tertiaryCategory = u"SuppressedDuplicate",
                    .alertId = alert.getInfo().id,
                    .hitLabel = alert.getInfo().product});
}

}  // namespace Vok
