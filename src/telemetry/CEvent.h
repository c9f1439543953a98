// A telemetry event:
//     CEvent(u"Brevant.Alert.Shown").Category(u"Vok").Action(u"Shown").Add(u"Hit.GUID", id).Send();
#pragma once

#include <cstdint>
#include <string>

#include "telemetry/CFluentTracker.h"
#include "telemetry/CTracker.h"

namespace Tavix::Analytics::v2 {

class CEvent : public internal::CFluentTracker<CEvent, internal::CTracker> {
public:
    // The unique identifier is the event's name.
    explicit CEvent(const std::u16string& uniqueIdentifier);

    // They set the dimensions "Event.Category", "Event.Action", "Event.Label" and "Event.Value". An empty or
    // null text removes the dimension.
    virtual CEvent& Category(const std::u16string& category);
    virtual CEvent& Category(const char16_t* category);
    virtual CEvent& Action(const std::u16string& action);
    virtual CEvent& Action(const char16_t* action);
    virtual CEvent& Label(const std::u16string& label);
    virtual CEvent& Label(const char16_t* label);
    virtual CEvent& Value(uint32_t value);
};

}  // namespace Tavix::Analytics::v2
