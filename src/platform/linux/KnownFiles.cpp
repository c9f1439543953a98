#include "platform/KnownFiles.h"

#include <vector>

#include "platform/Files.h"
#include "platform/linux/PathWatch.h"

namespace Platform {

struct KnownFiles::Watches {
    std::vector<std::unique_ptr<PathWatch>> ofFiles;
};

KnownFiles::KnownFiles() noexcept = default;
KnownFiles::~KnownFiles() = default;

void KnownFiles::follow(std::span<const std::u16string> paths) {
    watches_.reset();
    auto watches = std::make_unique<Watches>();
    for (const std::u16string& path : paths)
        watches->ofFiles.push_back(std::make_unique<PathWatch>(nativePath(path), PathWatch::Writes::each));
    watches_ = std::move(watches);
}

bool KnownFiles::areToldOf() noexcept {
    return true;
}

bool KnownFiles::unchanged() noexcept {
    if (!watches_)
        return false;
    for (const auto& watch : watches_->ofFiles) {
        if (watch->unchanged())
            continue;
        watches_.reset();
        return false;
    }
    return true;
}

}  // namespace Platform
