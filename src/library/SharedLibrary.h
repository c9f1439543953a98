// A library of this family, found along a list of folders, loaded and resolved.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <brevant/library.h>

#include "library/DllLoader.h"
#include "library/LibraryDefinition.h"
#include "library/PathHelpers.h"
#include "library/PathSearch.h"
#include "library/SystemInterfaces.h"
#include "platform/Registry.h"

namespace Tavix {

// The exports, in the order in which they are resolved.
struct LibraryFunctions {
    BrevantCreateObject createObject = nullptr;
    BrevantReleaseObject releaseObject = nullptr;
    BrevantGetVersionStr getVersionStr = nullptr;
    BrevantGetVersionNum getVersionNum = nullptr;
};

// Loaded with all four functions for as long as it lives; the library is freed with it. Belongs to one owner
// at a time: no locking.
class SharedLibrary {
public:
    // Throws ModuleException, after a log record, when the library is not found, is blocked in its version,
    // does not load or lacks a function. Collaborators that are not given are the system's own; a search of
    // its own starts empty.
    explicit SharedLibrary(LibraryDefinition definition, std::shared_ptr<DllLoader> loader = nullptr,
                           std::shared_ptr<PathHelpers> pathHelpers = nullptr,
                           std::shared_ptr<PathSearch> pathSearch = nullptr,
                           std::shared_ptr<FileVersionReader> versionInfo = nullptr,
                           std::shared_ptr<const Platform::Registry> registryKey = nullptr);
    virtual ~SharedLibrary();
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    // Valid as long as this object.
    virtual const LibraryFunctions* getFunctions() const;

private:
    uint32_t loadLibrary();
    uint32_t importFunctions();
    void unloadLibrary() noexcept;
    // Whether the host has listed this version of the library as not to be loaded.
    bool isBlocked(const std::u16string& folder) const;

    std::u16string name_;
    std::vector<std::u16string> searchPaths_;
    std::shared_ptr<DllLoader> loader_;
    std::shared_ptr<PathHelpers> pathHelpers_;
    std::shared_ptr<PathSearch> pathSearch_;
    std::shared_ptr<const Platform::Registry> registryKey_;
    std::shared_ptr<FileVersionReader> versionInfo_;
    Platform::LibraryHandle handle_ = nullptr;
    LibraryFunctions functions_;
};

}  // namespace Tavix
