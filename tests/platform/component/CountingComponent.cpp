// An event sink that counts its references, checks what it is given, and fails as the event asks.
#include <stdexcept>
#include <string_view>

#include "host/event_sink/ComponentConventions.h"
#include "platform/Export.h"

namespace {

using namespace EventSink;

int references = 0;

// As long as the convention says, so embedded zeros count.
std::u16string_view viewOf(BrevantComponentText text) {
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
    return {text, bytes / sizeof(char16_t)};
}

// The length of the event.
BrevantResult submitEvent(ILegacyEventSink*, BrevantComponentText before, BrevantComponentText json,
                          BrevantComponentText after) {
    const std::u16string_view text = viewOf(json);
    if (references != 1 || !viewOf(before).empty() || !viewOf(after).empty() || json[text.size()] != 0)
        return nullPointer;
    if (text.find(u"throw") != text.npos)
        throw std::runtime_error("no event today");
    return text.find(u"refuse") == text.npos ? static_cast<BrevantResult>(text.size()) : unspecified;
}

constexpr ILegacyEventSinkFunctions sinkFunctions{
    [](ILegacyEventSink*, const BrevantGuid*, void**) { return noInterface; },
    [](ILegacyEventSink*) -> uint32_t { return ++references; },
    [](ILegacyEventSink*) -> uint32_t { return --references; }, submitEvent};
ILegacyEventSink sink{&sinkFunctions};

constexpr ClassFactory::Functions factoryFunctions{
    [](ClassFactory*, const BrevantGuid*, void**) { return noInterface; },
    [](ClassFactory*) -> uint32_t { return 1; }, [](ClassFactory*) -> uint32_t { return 1; },
    [](ClassFactory*, void*, const BrevantGuid* interfaceId, void** object) {
        const bool known = same(*interfaceId, eventSinkInterfaceId);
        references += known;
        *object = known ? &sink : nullptr;
        return known ? ok : noInterface;
    },
    [](ClassFactory*, int32_t) { return ok; }};
ClassFactory factory{&factoryFunctions};

}  // namespace

BREVANT_EXPORT BrevantResult DllGetClassObject(const BrevantGuid* classId, const BrevantGuid*,
                                               void** object) {
    *object = same(*classId, eventSinkClassId) ? &factory : nullptr;
    return *object ? ok : noSuchClass;
}
BREVANT_EXPORT BrevantResult DllCanUnloadNow() {
    return references == 0 ? ok : no;
}
