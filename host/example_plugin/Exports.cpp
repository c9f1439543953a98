// The plugin's edge: C functions over ExamplePlugin.h. No exception leaves them.
#include <string>

#include <brevant/plugin.h>

#include "host/example_plugin/ExamplePlugin.h"
#include "platform/Export.h"

namespace {

// The plugin keeps nothing between calls; an instance is only told from none.
struct Instance {};

// Texts go out as arrays of our own and come back to be freed.
const char16_t* handOut(const std::u16string& text) {
    auto* copy = new char16_t[text.size() + 1];
    copy[text.copy(copy, text.size())] = u'\0';
    return copy;
}

template <class Work>
uint32_t guarded(Work work) noexcept {
    try {
        return work();
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

uint32_t create(void** instance, const char16_t*) {
    if (!instance)
        return MODULE_STATUS_INVALID_PARAMETER;
    return guarded([&]() -> uint32_t {
        *instance = new Instance;
        return MODULE_STATUS_SUCCESS;
    });
}

uint32_t destroy(void* instance) {
    delete static_cast<Instance*>(instance);
    return MODULE_STATUS_SUCCESS;
}

uint32_t processAlert(void* instance, const char16_t* alertText, const char16_t** processedText,
                      uint32_t* suppress, const char16_t** extraText) {
    if (!instance || !alertText || !processedText || !suppress || !extraText)
        return MODULE_STATUS_INVALID_PARAMETER;
    return guarded([&]() -> uint32_t {
        const auto verdict = ExamplePlugin::process(alertText);
        if (!verdict)
            return MODULE_STATUS_DATA_ERROR;
        static constexpr char16_t nothing[] = u"";
        *processedText = handOut(verdict->processed);
        *extraText = nothing;
        *suppress = verdict->suppress ? 1 : 0;
        return MODULE_STATUS_SUCCESS;
    });
}

void releaseProcessed(const char16_t* processedText, const char16_t*) {
    delete[] processedText;
}

uint32_t getAlertContent(void* instance, const char16_t* alertText, const char16_t*,
                         const char16_t** contentText) {
    if (!instance || !alertText || !contentText)
        return MODULE_STATUS_INVALID_PARAMETER;
    return guarded([&]() -> uint32_t {
        const auto content = ExamplePlugin::content(alertText);
        if (!content)
            return MODULE_STATUS_DATA_ERROR;
        *contentText = handOut(*content);
        return MODULE_STATUS_SUCCESS;
    });
}

void releaseContent(const char16_t* contentText) {
    delete[] contentText;
}

constexpr AlertPluginApi api{create,           destroy,         processAlert,
                             releaseProcessed, getAlertContent, releaseContent};

}  // namespace

BREVANT_EXPORT void* CreateObject(uint32_t interfaceVersion) {
    return interfaceVersion == BREVANT_PLUGIN_VERSION ? const_cast<AlertPluginApi*>(&api) : nullptr;
}

BREVANT_EXPORT void ReleaseObject(void*) {}

BREVANT_EXPORT const char* GetVersionStr() {
    return "1.0.0";
}

BREVANT_EXPORT uint32_t GetVersionNum() {
    return 1000000;
}
