// A product's plugin that hands back what it is given, and notes when it does.
#include <chrono>
#include <string>

#include <brevant/plugin.h>

#include "platform/Export.h"

namespace {

std::chrono::steady_clock::time_point stamps[2];

constexpr AlertPluginApi table = {
    [](void** instance, const char16_t*) -> uint32_t {
        *instance = stamps;
        return MODULE_STATUS_SUCCESS;
    },
    [](void*) -> uint32_t { return MODULE_STATUS_SUCCESS; },
    [](void*, const char16_t* alertText, const char16_t** processedText, uint32_t* suppress,
       const char16_t** extraText) -> uint32_t {
        stamps[0] = std::chrono::steady_clock::now();
        const size_t size = std::char_traits<char16_t>::length(alertText) + 1;
        *processedText = std::char_traits<char16_t>::copy(new char16_t[size], alertText, size);
        *extraText = u"";
        *suppress = 0;
        stamps[1] = std::chrono::steady_clock::now();
        return MODULE_STATUS_SUCCESS;
    },
    [](const char16_t* processedText, const char16_t*) { delete[] processedText; },
    [](void*, const char16_t*, const char16_t*, const char16_t** contentText) -> uint32_t {
        *contentText = u"content of the plugin";
        return MODULE_STATUS_SUCCESS;
    },
    [](const char16_t*) {},
};

}  // namespace

BREVANT_EXPORT const std::chrono::steady_clock::time_point* benchPluginStamps() {
    return stamps;
}
BREVANT_EXPORT void* CreateObject(uint32_t version) {
    return version == BREVANT_PLUGIN_VERSION ? const_cast<AlertPluginApi*>(&table) : nullptr;
}
BREVANT_EXPORT void ReleaseObject(void*) {}
BREVANT_EXPORT const char* GetVersionStr() {
    return BREVANT_VERSION_TEXT;
}
BREVANT_EXPORT uint32_t GetVersionNum() {
    return BREVANT_VERSION_NUMBER;
}
