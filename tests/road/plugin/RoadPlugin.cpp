// A product's plugin whose behaviour the alert's own text steers: "!suppress", "!fail", "!throw", "!null"
// and "!no content" anywhere in it.
#include <stdexcept>
#include <string>
#include <string_view>

#include <brevant/plugin.h>

#include "platform/Export.h"

namespace {

std::u16string processed;

bool asks(const char16_t* alertText, std::u16string_view what) {
    return std::u16string_view(alertText).find(what) != std::u16string_view::npos;
}

constexpr AlertPluginApi table = {
    [](void** instance, const char16_t*) -> uint32_t {
        *instance = &processed;
        return MODULE_STATUS_SUCCESS;
    },
    [](void*) -> uint32_t { return MODULE_STATUS_SUCCESS; },
    [](void*, const char16_t* alertText, const char16_t** processedText, uint32_t* suppress,
       const char16_t** extraText) -> uint32_t {
        if (asks(alertText, u"!throw"))
            throw std::runtime_error("plugin");
        if (asks(alertText, u"!fail"))
            return MODULE_STATUS_DATA_ERROR;
        *suppress = asks(alertText, u"!suppress");
        processed = alertText;
        const bool nothing = asks(alertText, u"!null");
        *processedText = nothing ? nullptr : processed.c_str();
        *extraText = nothing ? nullptr : u"";
        return MODULE_STATUS_SUCCESS;
    },
    [](const char16_t*, const char16_t*) {},
    [](void*, const char16_t* alertText, const char16_t*, const char16_t** contentText) -> uint32_t {
        *contentText = u"content of the plugin";
        return asks(alertText, u"!no content") ? MODULE_STATUS_DATA_ERROR : MODULE_STATUS_SUCCESS;
    },
    [](const char16_t*) {},
};

}  // namespace

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
