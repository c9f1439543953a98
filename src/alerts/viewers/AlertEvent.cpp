#include "alerts/viewers/AlertEvent.h"

#include <string>

#include "telemetry/CEvent.h"
#include "text/Utf.h"

namespace Vok {

AlertEvent failureEvent(std::u16string_view alertId, std::u16string_view label, uint32_t status,
                        std::u16string_view viewerId) {
    AlertEvent event{u"Brevant.Failed", u"Failed", u"Failure", alertId};  // compat
    event.label = label;
    event.result = status;
    event.hitLabel = viewerId;
    return event;
}

void sendAlertEvent(const AlertEvent& event) {
    const auto truth = [](bool value) { return value ? u"true" : u"false"; };
    Tavix::Analytics::v2::CEvent(std::u16string(event.identifier))
        .Category(u"Vok")
        .Action(std::u16string(event.action))
        .Add(u"Interactive", truth(event.interactive))
        .Add(u"UserInitiated", truth(event.userInitiated))
        .Add(u"Sub.Category", u"Brevant")
        .Add(u"Tertiary.Category", std::u16string(event.tertiaryCategory))
        .Add(u"Hit.GUID", std::u16string(event.alertId))
        .Label(std::u16string(event.label))
        .Add(u"Hit.Result", event.result ? Ferrow::decimal(*event.result) : std::u16string())
        .Add(u"Hit.Label.1", std::u16string(event.hitLabel))
        .Send();
}

}  // namespace Vok
