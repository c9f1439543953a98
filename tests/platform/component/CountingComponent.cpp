#include "CountingComponent.h"

#include <atomic>
#include <cstring>

#include "platform/Export.h"

namespace {

constexpr int32_t noInterface = static_cast<int32_t>(0x80004002u);
constexpr int32_t noSuchClass = static_cast<int32_t>(0x80040111u);
std::atomic<int> objects{0};

uint32_t addReference(TextLength*) {
    return 2;
}
uint32_t release(TextLength* object) {
    delete object;
    --objects;
    return 0;
}
int32_t queryInterface(TextLength*, const Platform::Guid*, void** out) {
    *out = nullptr;
    return noInterface;
}
// Reads the length where the convention keeps it, so embedded zeros count.
int32_t lengthOf(TextLength*, const char16_t* text) {
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
    return text[bytes / 2] == 0 ? static_cast<int32_t>(bytes / 2) : -1;
}
constexpr TextLength::Functions objectFunctions{queryInterface, addReference, release, lengthOf};

struct Factory {
    struct Functions {
        int32_t (*queryInterface)(Factory*, const Platform::Guid*, void**);
        uint32_t (*addReference)(Factory*);
        uint32_t (*release)(Factory*);
        int32_t (*createInstance)(Factory*, void*, const Platform::Guid*, void**);
        int32_t (*lockServer)(Factory*, int32_t);
    };
    const Functions* functions;
};
constexpr Factory::Functions factoryFunctions{
    [](Factory*, const Platform::Guid*, void**) { return noInterface; }, [](Factory*) { return 1u; },
    [](Factory*) { return 1u; },
    [](Factory*, void*, const Platform::Guid* wanted, void** out) {
        *out = nullptr;
        if (!(*wanted == textLengthId))
            return noInterface;
        ++objects;
        *out = new TextLength{&objectFunctions};
        return 0;
    },
    [](Factory*, int32_t) { return 0; }};
Factory factory{&factoryFunctions};

}  // namespace

BREVANT_EXPORT int32_t DllGetClassObject(const Platform::Guid* classId, const Platform::Guid*, void** out) {
    *out = *classId == countingClassId ? &factory : nullptr;
    return *out ? 0 : noSuchClass;
}
BREVANT_EXPORT int32_t DllCanUnloadNow() {
    return objects == 0 ? 0 : 1;
}
