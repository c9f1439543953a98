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

uint32_t create(void** instance, const char16_t*) {
    *instance = &processed;
    return MODULE_STATUS_SUCCESS;
}

uint32_t destroy(void*) {
    return MODULE_STATUS_SUCCESS;
}

uint32_t processAlert(void*, const char16_t* alertText, const char16_t** processedText, uint32_t* suppress,
                      const char16_t** extraText) {
    if (asks(alertText, u"!throw"))
        throw std::runtime_error("plugin");
    if (asks(alertText, u"!fail"))
        return MODULE_STATUS_DATA_ERROR;
    if (asks(alertText, u"!null")) {
        *processedText = *extraText = nullptr;
        return MODULE_STATUS_SUCCESS;
    }
    if (asks(alertText, u"!suppress"))
        *suppress = 1;
    processed = alertText;
    *processedText = processed.c_str();
    *extraText = u"";
    return MODULE_STATUS_SUCCESS;
}

void releaseProcessed(const char16_t*, const char16_t*) {}

uint32_t getAlertContent(void*, const char16_t* alertText, const char16_t*, const char16_t** contentText) {
    if (asks(alertText, u"!no content"))
        return MODULE_STATUS_DATA_ERROR;
    *contentText = u"content of the plugin";
    return MODULE_STATUS_SUCCESS;
}

void releaseContent(const char16_t*) {}

constexpr AlertPluginApi table = {create,           destroy,         processAlert,
                                  releaseProcessed, getAlertContent, releaseContent};

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
