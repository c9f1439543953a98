#include "platform/linux/RegistryFile.h"

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/KnownFiles.h"
#include "platform/ProcessWide.h"
#include "platform/SystemTime.h"

namespace Platform {
namespace {

constexpr size_t mostBytes = 16 << 20;
constexpr uint32_t errorLevel = 4;

int64_t nanoseconds(const timespec& time) {
    return static_cast<int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

class RegistryCache {
public:
    std::shared_ptr<const RegistryNode> current(Look look) {
        std::string path = registryFilePath();
        std::shared_ptr<const RegistryNode> tree;
        std::optional<std::u16string> problem;
        {
            MutexLock lock(mutex_);
            if (look == Look::always || !known_ || path != path_ || !watch_.unchanged())
                problem = lookAt(std::move(path));
            tree = tree_;
        }
        if (problem)
            reportDiagnostic(errorLevel, u"Registry", u"Platform::Registry::openKey", __LINE__,
                             u"Registry file is not used: " + *problem + u".");
        return tree;
    }

private:
    std::optional<std::u16string> lookAt(std::string path) REQUIRES(mutex_) {
        known_ = false;
        const std::u16string portable = portablePath(path);
        watch_.follow({&portable, 1});
        const FileState state = fileState(path);
        std::optional<std::u16string> problem;
        if (tree_ && path == path_ && state == state_ && settled_)
            known_ = true;
        else
            problem = read(std::move(path), state);
        return problem;
    }

    // Returns the problem of a text that has not been reported yet.
    std::optional<std::u16string> read(std::string path, const FileState& state) REQUIRES(mutex_) {
        // Two writes within one tick of the file system's clock leave the same state behind, so a file that
        // has only just changed is looked at again next time. (Anybody can set the time of modification.)
        constexpr int64_t tick = 50'000'000;
        settled_ = false;
        std::optional<std::u16string> problem;
        std::string text;
        // May pass without a change of the file, and must not be taken for one.
        bool unreadable = false;
        if (state.size >= 0) {
            if (std::optional<std::string> content = readFile(portablePath(path), mostBytes)) {
                text = std::move(*content);
            } else {
                problem = u"it cannot be read or is too large";
                unreadable = static_cast<uint64_t>(state.size) <= mostBytes;
            }
        }
        const size_t fingerprint = std::hash<std::string_view>()(text);
        const bool same = tree_ && path == path_ && fingerprint == fingerprint_ && !problem;
        if (!same && !(unreadable && tree_ && path == path_)) {
            RegistryText parsed = parseRegistryText(text);
            if (parsed.error)
                problem = std::move(parsed.error);
            tree_ = std::make_shared<const RegistryNode>(std::move(parsed.localMachine));
            fingerprint_ = fingerprint;
        }
        path_ = std::move(path);
        state_ = state;
        known_ = !unreadable;
        settled_ = known_ && wallTime().count() - state.changed > tick;
        if (!problem || (reported_ && *reported_ == fingerprint))
            return std::nullopt;
        reported_ = fingerprint;
        return problem;
    }

    // Guards the members below. Leaf: the file is read under it so that one thread reads for all.
    Mutex mutex_;
    std::string path_ GUARDED_BY(mutex_);
    KnownFiles watch_ GUARDED_BY(mutex_);
    bool known_ GUARDED_BY(mutex_) = false;  // what the file says, since watching began
    FileState state_ GUARDED_BY(mutex_);
    bool settled_ GUARDED_BY(mutex_) = false;
    size_t fingerprint_ GUARDED_BY(mutex_) = 0;
    std::optional<size_t> reported_ GUARDED_BY(mutex_);
    std::shared_ptr<const RegistryNode> tree_ GUARDED_BY(mutex_);
};

constinit ProcessWide<RegistryCache> registryCache;

}  // namespace

FileState fileState(const std::string& nativePath) noexcept {
    struct stat status {};
    if (stat(nativePath.c_str(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

std::string registryFilePath() {
    return nativePath(platformFolder()) + "/registry.reg";
}

std::shared_ptr<const RegistryNode> currentRegistry(Look look) {
    return registryCache.get().current(look);
}

}  // namespace Platform
