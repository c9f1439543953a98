#include "library/SystemInterfaces.h"

#include <utility>

#include "logging/Log.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/Registry.h"
#include "platform/VersionResource.h"

namespace Tavix {
namespace {

// DllAPI alone logs here.
constexpr std::u16string_view logSource = u"dll\\DllAPI";  // compat

}  // namespace

bool DllAPI::loadLibrary(const std::u16string& path, Platform::LibraryHandle* handle) {
    *handle = Platform::loadLibrary(path);
    if (!*handle)
        // compat
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

bool PathAPI::fileExists(const std::u16string& path) {
    return Platform::fileExists(path);
}

std::u16string PathAPI::combine(const std::u16string& folder, const std::u16string& name) {
    std::u16string path;
    path.reserve(folder.size() + 1 + name.size());
    return path.append(folder).append(1, u'\\').append(name);
}

std::optional<std::u16string> FileVersionReader::fileVersion(const std::u16string& path) {
    return Platform::fileVersion(path);
}

std::u16string ShlObjAPI::knownFolder(std::u16string_view name) {
    return Platform::knownFolder(name);
}

std::u16string RegistryAPI::readText(std::u16string_view key, std::u16string_view name) {
    constexpr size_t bufferLength = 260;
    const auto opened = Platform::Registry::system().openKey(key);
    auto text = opened ? opened->readText(name) : std::nullopt;
    return text && text->size() < bufferLength ? std::move(*text) : std::u16string();
}

}  // namespace Tavix

namespace Ferrow {

Platform::MachineKind WinOSVersionAPI::machineKind() {
    return Platform::machineKind();
}

bool WinOSVersionAPI::isWow64Process() {
    return Platform::isWow64Process();
}

}  // namespace Ferrow

namespace Ferrow::internal {

OSInfoProxy::OSInfoProxy(std::shared_ptr<WinOSVersionAPI> api)
    : api_(api ? std::move(api) : std::make_shared<WinOSVersionAPI>()) {}

uint32_t OSInfoProxy::platform() {
    return static_cast<uint32_t>(api_->machineKind());
}

bool OSInfoProxy::isWow64Process() {
    return api_->isWow64Process();
}

}  // namespace Ferrow::internal
