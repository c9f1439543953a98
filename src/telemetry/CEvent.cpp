#include "telemetry/CEvent.h"

#include "text/Utf.h"

namespace Tavix::Analytics::v2 {

namespace {

constexpr const char16_t* trackerTypes[] = {u"event", u"screen", u"exception", u"timing"};  // compat
constexpr const char16_t* category = u"Event.Category";
constexpr const char16_t* action = u"Event.Action";
constexpr const char16_t* label = u"Event.Label";
constexpr const char16_t* value = u"Event.Value";

}  // namespace

CEvent::CEvent(const std::u16string& uniqueIdentifier) : CFluentTracker(trackerTypes[0]) {
    Add(u"UniqueIdentifier", uniqueIdentifier);
}

CEvent& CEvent::Category(const std::u16string& text) {
    return Add(category, text);
}
CEvent& CEvent::Category(const char16_t* text) {
    return Add(category, text);
}
CEvent& CEvent::Action(const std::u16string& text) {
    return Add(action, text);
}
CEvent& CEvent::Action(const char16_t* text) {
    return Add(action, text);
}
CEvent& CEvent::Label(const std::u16string& text) {
    return Add(label, text);
}
CEvent& CEvent::Label(const char16_t* text) {
    return Add(label, text);
}
CEvent& CEvent::Value(uint32_t number) {
    return Add(value, Ferrow::decimal(number));
}

}  // namespace Tavix::Analytics::v2
