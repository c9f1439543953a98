// An event sink that counts its references, checks what it is given, and fails as the event asks. Its class
// id plus one, two, three or four throws from the function of that number: the library's own, the factory's
// two, the sink's Release.
#include <stdexcept>
#include <string_view>

#include "host/event_sink/ComponentConventions.h"
#include "platform/Export.h"

namespace {

using namespace EventSink;

int references = 0;
uint32_t thrower = 0;  // the number of the function that throws

void pass(uint32_t function) {
    if (function == thrower)
        throw std::runtime_error("not today");
}

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
    [](ILegacyEventSink*) -> uint32_t {
        --references;
        pass(4);
        return references;
    },
    submitEvent};
ILegacyEventSink sink{&sinkFunctions};

constexpr ClassFactory::Functions factoryFunctions{
    [](ClassFactory*, const BrevantGuid*, void**) { return noInterface; },
    [](ClassFactory*) -> uint32_t { return 1; },
    [](ClassFactory*) -> uint32_t {
        pass(3);
        return 1;
    },
    [](ClassFactory*, void*, const BrevantGuid* interfaceId, void** object) {
        pass(2);
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
    BrevantGuid plain = *classId;
    thrower = classId->data1 - eventSinkClassId.data1;
    plain.data1 -= thrower;
    pass(1);
    *object = same(plain, eventSinkClassId) ? &factory : nullptr;
    return *object ? ok : noSuchClass;
}
BREVANT_EXPORT BrevantResult DllCanUnloadNow() {
    return references == 0 ? ok : no;
}
