// A product's plugin that never comes back from its first call.
#include <unistd.h>

#include <brevant/plugin.h>

#include "platform/Export.h"

namespace {

constexpr AlertPluginApi table = {
    [](void** instance, const char16_t*) -> uint32_t {
        *instance = nullptr;
        for (;;)
            pause();
    },
    [](void*) -> uint32_t { return MODULE_STATUS_SUCCESS; },
    [](void*, const char16_t*, const char16_t**, uint32_t*, const char16_t**) -> uint32_t {
        return MODULE_STATUS_UNSUCCESSFUL;
    },
    [](const char16_t*, const char16_t*) {},
    [](void*, const char16_t*, const char16_t*, const char16_t**) -> uint32_t {
        return MODULE_STATUS_UNSUCCESSFUL;
    },
    [](const char16_t*) {},
};

}  // namespace

BREVANT_EXPORT void* CreateObject(uint32_t) {
    return const_cast<AlertPluginApi*>(&table);
}
BREVANT_EXPORT void ReleaseObject(void*) {}
BREVANT_EXPORT const char* GetVersionStr() {
    return BREVANT_VERSION_TEXT;
}
BREVANT_EXPORT uint32_t GetVersionNum() {
    return BREVANT_VERSION_NUMBER;
}
