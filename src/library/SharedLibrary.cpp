#include "library/SharedLibrary.h"

#include <algorithm>
#include <utility>

#include <brevant/status.h>

#include "logging/Log.h"
#include "status/ModuleException.h"
#include "text/Utf.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"dll\\SharedLibrary";  // compat

// The host's own libraries, which no list blocks.
constexpr std::u16string_view hostLibraries[] = {u"systemmonitor.dll", u"settingsmanager.dll",  // compat
                                                 u"modulemanager.dll", u"messagebus.dll"};

}  // namespace

SharedLibrary::SharedLibrary(LibraryDefinition definition, std::shared_ptr<DllLoader> loader,
                             std::shared_ptr<PathHelpers> pathHelpers, std::shared_ptr<PathSearch> pathSearch,
                             std::shared_ptr<FileVersionReader> versionInfo,
                             std::shared_ptr<const Platform::Registry> registryKey)
    : name_(std::move(definition.name)),
      searchPaths_(std::move(definition.searchPaths)),
      loader_(loader ? std::move(loader) : std::make_shared<DllLoader>()),
      pathHelpers_(pathHelpers ? std::move(pathHelpers) : std::make_shared<PathHelpers>()),
      pathSearch_(pathSearch ? std::move(pathSearch) : std::make_shared<PathSearch>()),
      registryKey_(std::move(registryKey)),
      versionInfo_(std::move(versionInfo)) {
    constexpr std::u16string_view function = u"Tavix::SharedLibrary::SharedLibrary";
    if (loadLibrary() != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to load library: %ls. Throwing ModuleException.", name_);
        throw ModuleException("Failed to load library");
    }
    if (importFunctions() != MODULE_STATUS_SUCCESS) {
        unloadLibrary();
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to import functions from library: %ls. Throwing ModuleException.", name_);
        throw ModuleException("Failed to import functions from library");
    }
}

SharedLibrary::~SharedLibrary() {
    unloadLibrary();
}

const LibraryFunctions* SharedLibrary::getFunctions() const {
    return &functions_;
}

uint32_t SharedLibrary::loadLibrary() {
    constexpr std::u16string_view function = u"Tavix::SharedLibrary::loadLibrary";
    for (std::u16string& path : searchPaths_) {
        if (!pathHelpers_->resolvePath(path)) {
            LOG_FORMATTED(ETWLogging::levelError, function,
                          u"Failed to resolve file path, %ls, for library: %ls.", path, name_);
            return MODULE_STATUS_NOT_FOUND;
        }
    }
    pathSearch_->addSearchPaths(searchPaths_);
    std::u16string folder;
    if (!pathSearch_->findFilePath(name_, folder)) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to find valid path for library: %ls.",
                      name_);
        return MODULE_STATUS_NOT_FOUND;
    }
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Loading %ls from %ls.", name_, folder);
    const std::u16string path = folder + u'\\' + name_;
    if (isBlocked(folder)) {
        LOG_FORMATTED(ETWLogging::levelInformation, function, u"Blocked library: %ls.", path);
        return MODULE_STATUS_NOT_SUPPORTED;
    }
    if (!loader_->loadDLL(path, &handle_)) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to load library: %ls.", name_);
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    return MODULE_STATUS_SUCCESS;
}

uint32_t SharedLibrary::importFunctions() {
    const auto import = [this](const char* name, auto& function) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
            loader_->getProcAddress(handle_, name));
        if (!function)
            LOG_FORMATTED(ETWLogging::levelError, u"Tavix::SharedLibrary::importFunctions",
                          u"Failed to load %hs function from library: %ls.", name, name_);
        return function != nullptr;
    };
    const bool complete = import(BREVANT_EXPORT_CREATE_OBJECT, functions_.createObject) &&
                          import(BREVANT_EXPORT_RELEASE_OBJECT, functions_.releaseObject) &&
                          import(BREVANT_EXPORT_GET_VERSION_STR, functions_.getVersionStr) &&
                          import(BREVANT_EXPORT_GET_VERSION_NUM, functions_.getVersionNum);
    return complete ? MODULE_STATUS_SUCCESS : MODULE_STATUS_NOT_FOUND;
}

void SharedLibrary::unloadLibrary() noexcept {
    if (!handle_)
        return;
    try {
        if (loader_->freeDLL(handle_))
            handle_ = nullptr;
        else
            LOG_FORMATTED(ETWLogging::levelError, u"Tavix::SharedLibrary::unloadLibrary",
                          u"Failed to free library: %ls.", name_);
    } catch (...) {
        // Freed or not, there is nothing more to do with it.
    }
}

bool SharedLibrary::isBlocked(const std::u16string& folder) const {
    if (name_.empty() || folder.empty())
        return false;
    const std::u16string name = Ferrow::toLowerAscii(name_);
    if (std::ranges::find(hostLibraries, name) != std::end(hostLibraries))
        return false;
    const std::u16string path = Ferrow::toLowerAscii(folder) + u'\\' + name;
    FileVersionReader systemVersions;
    const auto version = (versionInfo_ ? *versionInfo_ : systemVersions).fileVersion(path);
    if (!version)
        return false;
    const Platform::Registry& registry = registryKey_ ? *registryKey_ : Platform::Registry::protectedReader();
    const auto key = registry.openKey(u"SOFTWARE\\Corvane\\Ostrel\\List\\" + name);
    return key && key->readText(*version) == version;  // compat
}

}  // namespace Tavix
