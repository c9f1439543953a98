#include "platform/NamedMutex.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/Clock.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/ProcessWide.h"
#include "platform/linux/FileDescriptor.h"
#include "text/Utf.h"

namespace Platform {
namespace {

// One lock file as this process holds it: threads queue on a condition, processes on the file.
class LockFile {
public:
    LockFile(std::string path, std::string guarded) : path_(std::move(path)), guarded_(std::move(guarded)) {}

    bool acquire(Clock::Time deadline) {
        {
            MutexLock lock(mutex_);
            while (held_) {
                if (!Clock::steady().waitUntil(released_, lock, deadline) && held_)
                    return false;
            }
            held_ = true;
        }
        if (lockFile(deadline))
            return true;
        releaseThreads();
        return false;
    }

    void release() {
        if (file_)
            flock(file_.get(), LOCK_UN);
        releaseThreads();
    }

private:
    void releaseThreads() {
        MutexLock lock(mutex_);
        held_ = false;
        released_.notifyOne();
    }

    void open() {
        file_ = clearOfStandardStreams(
            FileDescriptor(::open(path_.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)));
        if (file_)
            shareWithWriters();
    }

    // Who can read the file can lock it, so its owner makes it readable for those alone who may write to what
    // it guards. What root makes for another account's folder is that account's.
    void shareWithWriters() const {
        struct stat file {};
        if (fstat(file_.get(), &file) != 0 || !S_ISREG(file.st_mode) || file.st_nlink != 1 ||
            file.st_uid != geteuid())
            return;
        struct stat guarded {};
        if (stat(guarded_.c_str(), &guarded) != 0) {
            guarded = file;
            guarded.st_mode = 0;
        }
        const bool sameGroup = file.st_gid == guarded.st_gid || fchown(file_.get(), -1, guarded.st_gid) == 0;
        const mode_t mode = 0600 | (sameGroup && (guarded.st_mode & S_IWGRP) ? 0060 : 0) |
                            (guarded.st_mode & S_IWOTH ? 0006 : 0);
        if (mode != (file.st_mode & 07777))
            fchmod(file_.get(), mode);
        if (file.st_uid != guarded.st_uid) [[maybe_unused]]
            const int given = fchown(file_.get(), guarded.st_uid, -1);
    }

    // True as well when there can be no lock file: then the threads of this process are all that is
    // serialised.
    bool lockFile(Clock::Time deadline) {
        constexpr auto longestPause = std::chrono::milliseconds(8);
        if (!file_)
            open();
        for (auto pause = std::chrono::milliseconds(1); file_;) {
            if (flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
                struct stat status {};
                if (fstat(file_.get(), &status) != 0 || status.st_nlink > 0)
                    return true;
                open();  // somebody removed the file: others lock the new one
                continue;
            }
            if (errno != EWOULDBLOCK && errno != EINTR)
                return true;
            const Clock::Time left = deadline - Clock::steady().now();
            if (left <= Clock::Time::zero())
                return false;
            const auto nap = std::min<Clock::Time>(pause, left);
            const timespec time{0, static_cast<long>(nap.count())};
            nanosleep(&time, nullptr);
            pause = std::min(pause * 2, longestPause);
        }
        return true;
    }

    const std::string path_;
    const std::string guarded_;
    FileDescriptor file_;  // of the thread that holds the lock
    // Guards held_ alone. Leaf.
    Mutex mutex_;
    ConditionVariable released_;
    bool held_ GUARDED_BY(mutex_) = false;
};

// All mutexes of one name share one lock file object.
class LockFiles {
public:
    std::shared_ptr<LockFile> get(const std::string& path, const std::string& guarded) {
        MutexLock lock(mutex_);
        std::erase_if(files_, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<LockFile>& entry = files_[path];
        std::shared_ptr<LockFile> file = entry.lock();
        if (!file)
            entry = file = std::make_shared<LockFile>(path, guarded);
        return file;
    }

private:
    // Guards the table. Leaf.
    Mutex mutex_;
    std::map<std::string, std::weak_ptr<LockFile>> files_ GUARDED_BY(mutex_);
};

constinit ProcessWide<LockFiles> lockFiles;

class FileMutex final : public NamedMutex {
public:
    explicit FileMutex(std::shared_ptr<LockFile> file) : file_(std::move(file)) {}

    bool acquire(std::chrono::milliseconds timeout) override {
        constexpr auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::Time::max());
        const Clock::Time duration = timeout > longest ? Clock::Time::max() : Clock::Time(timeout);
        return file_->acquire(deadlineAfter(Clock::steady().now(), duration));
    }
    void release() override { file_->release(); }

private:
    const std::shared_ptr<LockFile> file_;
};

// A readable file name for any text; the number keeps apart what reads alike.
std::string fileNameFor(std::u16string_view name) {
    constexpr size_t readable = 100;
    uint64_t number = 14695981039346656037u;
    std::string file;
    for (const char byte : Ferrow::toUtf8(name)) {
        number = (number ^ static_cast<uint8_t>(byte)) * 1099511628211u;
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_';
        if (file.size() < readable)
            file += plain ? byte : '_';
    }
    char digits[17] = {};
    for (size_t index = 0; index < 16; ++index)
        digits[index] = "0123456789abcdef"[(number >> (60 - 4 * index)) & 0xF];
    return file + "." + digits + ".lock";
}

}  // namespace

std::unique_ptr<NamedMutex> NamedMutex::create(const std::u16string& name, const std::u16string& guarded) {
    const std::u16string folder = platformFolder();
    createFolders(folder);
    return std::make_unique<FileMutex>(
        lockFiles.get().get(nativePath(folder) + "/" + fileNameFor(name), nativePath(guarded)));
}

}  // namespace Platform
