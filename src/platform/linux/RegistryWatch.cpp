#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include "platform/Registry.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/RegistryFile.h"
#include "text/Utf.h"

namespace Platform {
namespace {

// Follows the registry file by name: through its folder, or, while that does not exist, through the nearest
// folder above it that does.
class FileWatch final : public RegistryWatch {
public:
    explicit FileWatch(std::u16string_view key)
        : key_(Ferrow::toLowerAscii(key)),
          path_(registryFilePath()),
          cancelled_(eventfd(0, EFD_CLOEXEC)),
          notifications_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        arm();
        seen_ = values();
    }

    bool usable() const noexcept { return static_cast<bool>(cancelled_); }

    bool wait() override {
        for (;;) {
            pollfd descriptors[] = {{cancelled_.get(), POLLIN, 0}, {notifications_.get(), POLLIN, 0}};
            // Without notifications, of which a user has a limited number, the file is looked at each second.
            const int ready = poll(descriptors, 2, armed() ? -1 : 1000);
            if (descriptors[0].revents != 0 && ready > 0)
                return false;
            if (ready < 0 && errno != EINTR)
                return false;
            if (ready > 0 && !takeNotifications())
                continue;
            // The file changes for other keys too.
            Values now = values();
            if (now == seen_)
                continue;
            seen_ = std::move(now);
            return true;
        }
    }

    void cancel() override {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(cancelled_.get(), &one, sizeof one);
    }

private:
    using Values = decltype(RegistryNode::values);

    Values values() const {
        const std::shared_ptr<const RegistryNode> registry = currentRegistry();
        const RegistryNode* const key = findRegistryKey(*registry, key_);
        return key ? key->values : Values();
    }

    bool armed() const noexcept { return watch_ >= 0; }

    // Watches the nearest folder and remembers which entry of it leads on to the file.
    void arm() {
        constexpr uint32_t events = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                    IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
        for (;;) {
            if (armed())
                inotify_rm_watch(notifications_.get(), watch_);
            watch_ = -1;
            std::string folder = path_;
            do {
                const size_t slash = folder.rfind('/');
                entry_ = folder.substr(slash == std::string::npos ? 0 : slash + 1);
                folder = slash == std::string::npos ? "." : slash == 0 ? "/" : folder.substr(0, slash);
                watch_ = inotify_add_watch(notifications_.get(), folder.c_str(), events);
            } while (!armed() && folder != "/" && folder != ".");
            // A folder that came into being before the watch on its parent gives no notification.
            const std::string next = folder == "/" ? "/" + entry_ : folder + "/" + entry_;
            struct stat status {};
            direct_ = next == path_;
            if (!armed() || direct_ || stat(next.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
                return;
        }
    }

    // Whether a notification concerned the file.
    bool takeNotifications() {
        alignas(inotify_event) char buffer[4096];
        bool concerned = false;
        bool rearm = false;
        for (;;) {
            const ssize_t length = read(notifications_.get(), buffer, sizeof buffer);
            if (length <= 0)
                break;
            for (ssize_t offset = 0; offset < length;) {
                inotify_event event{};
                std::memcpy(&event, buffer + offset, sizeof event);
                const char* name = event.len ? buffer + offset + sizeof event : "";
                offset += static_cast<ssize_t>(sizeof event + event.len);
                if (event.mask & IN_Q_OVERFLOW) {
                    concerned = true;
                } else if (event.wd == watch_) {
                    const bool folderGone =
                        event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT);
                    const bool led = event.len && entry_ == name;
                    concerned = concerned || led;
                    rearm = rearm || folderGone || (led && !direct_);
                }
            }
        }
        if (rearm)
            arm();
        return concerned;
    }

    const std::u16string key_;
    const std::string path_;
    const FileDescriptor cancelled_;
    const FileDescriptor notifications_;
    // Of the waiting thread, and of the constructor before it.
    int watch_ = -1;
    std::string entry_;    // what in the watched folder leads to the file
    bool direct_ = false;  // the entry is the file itself
    Values seen_;
};

}  // namespace

std::unique_ptr<RegistryWatch> RegistryWatch::create(std::u16string_view path) {
    auto watch = std::make_unique<FileWatch>(path);
    if (!watch->usable())
        return nullptr;
    return watch;
}

}  // namespace Platform
