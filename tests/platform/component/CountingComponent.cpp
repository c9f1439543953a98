#include "CountingComponent.h"

#include <atomic>

#include "host/event_sink/ComponentConventions.h"
#include "platform/Export.h"

namespace {

using namespace EventSink;

std::atomic<int> objects{0};

constexpr TextLength::Functions objectFunctions{
    [](TextLength*, const Platform::Guid*, void** out) {
        *out = nullptr;
        return noInterface;
    },
    [](TextLength*) { return 2u; },
    [](TextLength* object) {
        delete object;
        --objects;
        return 0u;
    },
    // Reads the length where the convention keeps it, so embedded zeros count.
    [](TextLength*, const char16_t* text) {
        uint32_t bytes = 0;
        std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
        return text[bytes / 2] == 0 ? static_cast<int32_t>(bytes / 2) : -1;
    }};

constexpr ClassFactory::Functions factoryFunctions{
    [](ClassFactory*, const BrevantGuid*, void**) { return noInterface; }, [](ClassFactory*) { return 1u; },
    [](ClassFactory*) { return 1u; },
    [](ClassFactory*, void*, const BrevantGuid* wanted, void** out) {
        const bool known = std::memcmp(wanted, &textLengthId, sizeof textLengthId) == 0;
        objects += known;
        *out = known ? new TextLength{&objectFunctions} : nullptr;
        return known ? ok : noInterface;
    },
    [](ClassFactory*, int32_t) { return ok; }};
ClassFactory factory{&factoryFunctions};

}  // namespace

BREVANT_EXPORT int32_t DllGetClassObject(const Platform::Guid* classId, const Platform::Guid*, void** out) {
    *out = *classId == countingClassId ? &factory : nullptr;
    return *out ? ok : noSuchClass;
}
BREVANT_EXPORT int32_t DllCanUnloadNow() {
    return objects == 0 ? 0 : 1;
}
