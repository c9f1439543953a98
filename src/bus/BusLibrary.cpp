#include "bus/BusLibrary.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "library/PathHelpers.h"
#include "library/SharedLibrary.h"
#include "library/SystemInterfaces.h"
#include "logging/Log.h"
#include "platform/KnownFiles.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"

namespace Tavix {
namespace {

using Paths = std::vector<std::u16string>;

constexpr const char16_t* fileName = u"MessageBus.dll";
constexpr const char16_t* folders[] = {u"$(App.Folder)", u"$(Ostrel.InstallDir)"};

std::shared_ptr<SharedLibrary> load() {
    return std::make_shared<SharedLibrary>(LibraryDefinition{fileName, {folders[0], folders[1]}});
}

// The files that a search would look for.
Paths candidates() {
    PathHelpers macros;
    PathAPI paths;
    Paths files;
    for (std::u16string folder : folders) {
        macros.resolvePath(folder);
        files.push_back(paths.combine(folder, fileName));
    }
    return files;
}

class LatestBusLibrary {
public:
    std::shared_ptr<SharedLibrary> get() {
        std::shared_ptr<SharedLibrary> held;  // its last holder may be this call
        {
            Platform::MutexLock lock(mutex_);
            held = library_.lock();
            if (held && known_->unchanged())
                return held;
        }
        const Paths files = candidates();
        auto known = std::make_unique<Platform::KnownFiles>();
        known->follow(lookedAt(files), Platform::KnownFiles::Registry::followed);
        auto library = load();
        // What the registry said before it was followed may be out of date.
        if (candidates() != files)
            return library;
        Platform::MutexLock lock(mutex_);
        known_ = std::move(known);
        library_ = library;
        return library;
    }

private:
    // A search ends at the first that is there.
    static std::span<const std::u16string> lookedAt(const Paths& files) {
        PathAPI paths;
        size_t count = 1;
        while (count < files.size() && !paths.fileExists(files[count - 1]))
            ++count;
        return std::span(files).first(count);
    }

    Platform::Mutex mutex_;  // leaf: nothing is loaded or freed under it
    std::weak_ptr<SharedLibrary> library_ GUARDED_BY(mutex_);
    std::unique_ptr<Platform::KnownFiles> known_ GUARDED_BY(mutex_);
};

constinit Platform::ProcessWide<LatestBusLibrary> latest;

}  // namespace

std::shared_ptr<SharedLibrary> loadBusLibrary() {
    const bool searchIsLogged = ETWLogging::isLogEnabled(ETWLogging::levelNormal) ||
                                ETWLogging::isLogEnabled(ETWLogging::levelWarning);
    return searchIsLogged || !Platform::KnownFiles::areToldOf() ? load() : latest.get().get();
}

}  // namespace Tavix
