// An event sink that checks what it is given, and fails as the event's name asks.
#include <stdexcept>
#include <string_view>

#include "host/event_sink/ComponentConventions.h"
#include "platform/Export.h"

namespace {

using namespace EventSink;

int references = 0;

// The length of a component text in bytes, where the convention keeps it.
uint32_t lengthOf(BrevantComponentText text) {
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
    return bytes;
}

BrevantResult submitEvent(ILegacyEventSink*, BrevantComponentText before, BrevantComponentText json,
                          BrevantComponentText after) {
    const std::u16string_view text(json, lengthOf(json) / sizeof(char16_t));
    if (references != 1 || lengthOf(before) + lengthOf(after) != 0 || text.back() != u'}')
        return nullPointer;
    if (text.find(u"throw") != text.npos)
        throw std::runtime_error("no event today");
    return text.find(u"refuse") == text.npos ? no : unspecified;
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
        if (!same(*interfaceId, eventSinkInterfaceId))
            return noInterface;
        ++references;
        *object = &sink;
        return ok;
    },
    [](ClassFactory*, int32_t) { return ok; }};
ClassFactory factory{&factoryFunctions};

}  // namespace

BREVANT_EXPORT BrevantResult DllGetClassObject(const BrevantGuid* classId, const BrevantGuid*,
                                               void** object) {
    *object = same(*classId, eventSinkClassId) ? &factory : nullptr;
    return *object ? ok : noSuchClass;
}
