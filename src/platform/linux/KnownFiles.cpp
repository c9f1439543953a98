#include "platform/KnownFiles.h"

#include <algorithm>
#include <poll.h>
#include <string>
#include <vector>

#include "platform/Files.h"
#include "platform/linux/PathWatch.h"
#include "platform/linux/RegistryFile.h"

namespace Platform {

struct KnownFiles::Watches {
    std::vector<std::unique_ptr<PathWatch>> ofFiles;
    std::vector<pollfd> descriptors;  // of all of them
    std::string registry;             // empty when it is left

    void add(std::string path) {
        ofFiles.push_back(std::make_unique<PathWatch>(std::move(path), PathWatch::Writes::each));
        ofFiles.back()->addTo(descriptors);
    }
    bool unchanged() {
        if (!registry.empty() && registry != registryFilePath())
            return false;
        const int ready = poll(descriptors.data(), descriptors.size(), 0);
        const auto isUnchanged = [ready](const auto& watch) {
            return ready == 0 ? watch->tellsOfAll() : watch->unchanged();
        };
        return ready >= 0 && std::ranges::all_of(ofFiles, isUnchanged);
    }
};

KnownFiles::KnownFiles() noexcept = default;
KnownFiles::~KnownFiles() = default;

void KnownFiles::follow(std::span<const std::u16string> paths, Registry registry) {
    watches_.reset();
    auto watches = std::make_unique<Watches>();
    for (const std::u16string& path : paths)
        watches->add(nativePath(path));
    if (registry == Registry::followed) {
        watches->registry = registryFilePath();
        watches->add(watches->registry);
    }
    watches_ = std::move(watches);
}

bool KnownFiles::areToldOf() noexcept {
    return true;
}

bool KnownFiles::unchanged() {
    if (!watches_)
        return false;
    if (!watches_->unchanged())
        watches_.reset();
    return watches_ != nullptr;
}

}  // namespace Platform
