#include "platform/linux/PathWatch.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace Platform {
namespace {

constexpr uint32_t selfEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB;
constexpr uint32_t entryEvents =
    selfEvents | IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr uint32_t fileEvents = selfEvents | IN_CLOSE_WRITE;

std::string joined(std::string folder, const std::string& name) {
    if (folder != "/")
        folder += '/';
    return folder += name;
}

std::string absolute(const std::string& path) {
    char current[PATH_MAX];
    return path.starts_with('/') || !getcwd(current, sizeof current) ? path : joined(current, path);
}

// Puts the names that make up a path before those that are still to come, which stand in reverse.
void putBefore(std::vector<std::string>& rest, const std::string& path) {
    for (size_t end = path.size(); end != 0;) {
        const size_t slash = path.rfind('/', end - 1);
        const size_t begin = slash == std::string::npos ? 0 : slash + 1;
        rest.push_back(path.substr(begin, end - begin));
        end = begin == 0 ? 0 : slash;
    }
}

std::string linkTarget(const std::string& link) {
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return {target, length < 0 ? 0 : static_cast<size_t>(length)};
}

// Files on other file systems other machines may change too, and nothing here tells.
bool isLocal(const std::string& path) {
    struct statfs status {};
    if (statfs(path.c_str(), &status) != 0)
        return false;
    constexpr uint32_t zfs = 0x2FC12FC1;
    constexpr uint32_t local[] = {
        BTRFS_SUPER_MAGIC,     EXT4_SUPER_MAGIC,    F2FS_SUPER_MAGIC, zfs,
        OVERLAYFS_SUPER_MAGIC, RAMFS_MAGIC,         TMPFS_MAGIC,      XFS_SUPER_MAGIC,
        SQUASHFS_MAGIC,        REISERFS_SUPER_MAGIC};
    return std::ranges::find(local, static_cast<uint32_t>(status.f_type)) != std::end(local);
}

}  // namespace

PathWatch::PathWatch(std::string path, Writes writes)
    : path_(std::move(path)),
      writes_(writes),
      notifications_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      mounts_(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {
    arm();
}

bool PathWatch::wait(int cancelled) {
    for (;;) {
        pollfd descriptors[] = {
            {cancelled, POLLIN, 0}, {notifications_.get(), POLLIN, 0}, {mounts_.get(), POLLPRI, 0}};
        // Without notifications, of which a user has a limited number, the file is looked at each second.
        const int ready = poll(descriptors, 3, toldOfAll_ ? -1 : 1000);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0 || descriptors[0].revents != 0)
            return false;
        const bool concerned = takeNotifications();
        if (!concerned && ready > 0 && descriptors[2].revents == 0)
            continue;
        arm();
        return true;
    }
}

bool PathWatch::unchanged() noexcept {
    if (!toldOfAll_)
        return false;
    pollfd descriptors[] = {{notifications_.get(), POLLIN, 0}, {mounts_.get(), POLLPRI, 0}};
    const int ready = poll(descriptors, 2, 0);
    toldOfAll_ = ready == 0 || (ready > 0 && descriptors[1].revents == 0 && !takeNotifications());
    return toldOfAll_;
}

void PathWatch::addTo(std::vector<pollfd>& descriptors) const {
    descriptors.push_back({notifications_.get(), POLLIN, 0});
    descriptors.push_back({mounts_.get(), POLLPRI, 0});
}

// The folders on the way are watched for themselves alone, those with a link in them and the last one for the
// entry that leads on, and the file also, for it may be written by another name.
std::vector<PathWatch::Step> PathWatch::steps() const {
    constexpr int mostLinks = 40;
    std::vector<Step> steps;
    std::vector<std::string> rest;
    putBefore(rest, absolute(path_));
    std::string folder = "/";  // whose own path has no links in it
    for (int links = 0; !rest.empty();) {
        const std::string name = std::move(rest.back());
        rest.pop_back();
        if (name.empty() || name == ".")
            continue;
        if (name == "..") {
            folder.resize(std::max<size_t>(folder.rfind('/'), 1));
            continue;
        }
        const std::string next = joined(folder, name);
        struct stat status {};
        const bool exists = lstat(next.c_str(), &status) == 0;
        if (exists && S_ISDIR(status.st_mode) && !rest.empty()) {
            steps.push_back({next, "", false, status.st_dev, status.st_ino});
            folder = next;
            continue;
        }
        steps.push_back({folder, name, false, status.st_dev, status.st_ino});
        if (exists && S_ISLNK(status.st_mode) && ++links <= mostLinks) {
            const std::string target = linkTarget(next);
            putBefore(rest, target);
            if (target.starts_with('/'))
                folder.resize(1);
            continue;
        }
        if (exists && rest.empty())
            steps.push_back({next, "", true, status.st_dev, status.st_ino});
        break;
    }
    return steps;
}

PathWatch::Entries PathWatch::watch(const std::vector<Step>& steps) {
    Entries entries;
    toldOfAll_ = static_cast<bool>(mounts_);
    for (const Step& step : steps) {
        const uint32_t events = step.file            ? fileEvents | (writes_ == Writes::each ? IN_MODIFY : 0)
                                : step.entry.empty() ? selfEvents | IN_ONLYDIR
                                                     : entryEvents | IN_ONLYDIR;
        const int watch = inotify_add_watch(notifications_.get(), step.watched.c_str(), events | IN_MASK_ADD);
        toldOfAll_ = toldOfAll_ && watch >= 0 && isLocal(step.watched);
        if (watch < 0)
            continue;
        auto& counting = entries[watch];
        if (!step.entry.empty())
            counting.insert(step.entry);
    }
    return entries;
}

void PathWatch::arm() {
    // Bounded, for a path that changes all the time; it is looked at each second then.
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const std::vector<Step> before = steps();
        Entries watches = watch(before);
        for (const auto& [number, entries] : watches_) {
            if (!watches.contains(number))
                inotify_rm_watch(notifications_.get(), number);
        }
        watches_ = std::move(watches);
        // What changed before it was watched gives no notification.
        if (steps() == before)
            return;
    }
    toldOfAll_ = false;
}

// Whether a notification concerned the path.
bool PathWatch::takeNotifications() noexcept {
    alignas(inotify_event) char buffer[4096];
    bool concerned = false;
    for (;;) {
        const ssize_t length = read(notifications_.get(), buffer, sizeof buffer);
        if (length <= 0)
            return concerned;
        for (ssize_t offset = 0; offset < length;) {
            inotify_event event{};
            std::memcpy(&event, buffer + offset, sizeof event);
            const char* name = event.len ? buffer + offset + sizeof event : "";
            offset += static_cast<ssize_t>(sizeof event + event.len);
            const auto watch = watches_.find(event.wd);
            concerned = concerned || (event.mask & IN_Q_OVERFLOW) ||
                        (watch != watches_.end() && (!*name || watch->second.contains(name)));
        }
    }
}

}  // namespace Platform
