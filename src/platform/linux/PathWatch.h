#pragma once

#include <functional>
#include <map>
#include <poll.h>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "platform/linux/FileDescriptor.h"

namespace Platform {

// Notices changes of the file that a path leads to, whoever makes them by whatever name of the file, and of
// what leads there: folders that come and go, links that are pointed elsewhere, file systems that are
// mounted.
class PathWatch {
public:
    // Whether a write counts when it happens, or when the writer closes the file and so has finished.
    enum class Writes { each, finished };

    // Watching begins here.
    explicit PathWatch(std::string path, Writes writes = Writes::finished);

    // Blocks until something may have changed (true) or the descriptor can be read (false). One thread at a
    // time.
    bool wait(int cancelled);
    // True when nothing can have changed since watching began or wait last returned. Once false, it stays so.
    bool unchanged() noexcept;
    // For who watches several paths: unchanged is true while none of the descriptors has news, and this is.
    void addTo(std::vector<pollfd>& descriptors) const;
    bool tellsOfAll() const noexcept { return toldOfAll_; }

private:
    // One thing on the way along the path.
    struct Step {
        std::string watched;  // a folder, or the file
        std::string entry;    // what counts in that folder; empty: only that it is itself moved or gone
        bool file;
        dev_t device;  // of what is there: the entry, or what is watched; 0 for nothing
        ino_t inode;

        bool operator==(const Step&) const = default;
    };
    using Entries = std::map<int, std::set<std::string, std::less<>>>;  // by watch

    std::vector<Step> steps() const;
    Entries watch(const std::vector<Step>& steps);
    void arm();
    bool takeNotifications() noexcept;

    const std::string path_;
    const Writes writes_;
    const FileDescriptor notifications_;
    const FileDescriptor mounts_;
    Entries watches_;
    bool toldOfAll_ = false;  // each change gives a notification
};

}  // namespace Platform
