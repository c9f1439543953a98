#include "library/DllAPI.h"

#include "logging/Log.h"
#include "platform/Process.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"dll\\DllAPI";

}  // namespace

bool DllAPI::loadLibrary(const std::u16string& path, Platform::LibraryHandle* handle) {
    *handle = Platform::loadLibrary(path);
    if (!*handle)
        LOG_FORMATTED(ETWLogging::levelError, u"Tavix::DllAPI::loadLibrary", u"LoadLibrary Failed. GLE: %lu",
                      Platform::lastError());
    return *handle != nullptr;
}

void* DllAPI::getProcAddress(Platform::LibraryHandle handle, const char* name) {
    return Platform::libraryFunction(handle, name);
}

bool DllAPI::verifyTrust(const std::u16string& path) {
    return Platform::verifyLibraryTrust(path);
}

bool DllAPI::freeLibrary(Platform::LibraryHandle handle) {
    return Platform::freeLibrary(handle);
}

bool DllAPI::getModuleHandleEx(uint32_t flags, const std::u16string& path, Platform::LibraryHandle* handle) {
    *handle = flags == 0 ? Platform::loadedLibrary(path) : nullptr;
    return *handle != nullptr;
}

}  // namespace Tavix
