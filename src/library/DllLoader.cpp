#include "library/DllLoader.h"

#include <utility>

#include <brevant/status.h>

#include "logging/Log.h"
#include "status/ModuleStatus.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"dll\\DllLoader";  // compat

}  // namespace

DllLoader::DllLoader(std::shared_ptr<DllAPI> api) : api_(api ? std::move(api) : std::make_shared<DllAPI>()) {}

bool DllLoader::loadDLL(const std::u16string& path, Platform::LibraryHandle* handle) {
    constexpr std::u16string_view function = u"Tavix::DllLoader::loadDLL";
    if (!handle) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Invalid pHandle specified. Exiting.");  // compat
        return false;
    }
    Platform::LibraryHandle found = nullptr;
    bool loaded = api_->getModuleHandleEx(0, path, &found);  // compat
    if (!loaded) {
        try {
            loaded = api_->loadLibrary(path, &found);
        } catch (...) {
            loaded = false;
        }
    }
    if (!loaded) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to load library. Error code: %ls(%lu).",
                      moduleStatusName(MODULE_STATUS_UNSUCCESSFUL), MODULE_STATUS_UNSUCCESSFUL);
        return false;
    }
    *handle = found;
    return true;
}

void* DllLoader::getProcAddress(Platform::LibraryHandle handle, const char* function) {
    void* const address = api_->getProcAddress(handle, function);
    if (!address)
        LOG_MESSAGE(ETWLogging::levelWarning, u"Tavix::DllLoader::getProcAddress",
                    u"getProcAddress was unsuccessful in finding the handle's address");  // compat
    return address;
}

bool DllLoader::freeDLL(Platform::LibraryHandle handle) {
    return api_->freeLibrary(handle);
}

}  // namespace Tavix
