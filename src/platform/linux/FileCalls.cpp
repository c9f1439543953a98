#include "platform/FileCalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/linux/NativeErrors.h"
#include "text/Utf.h"

namespace Platform {
namespace {

bool failed(int systemError = errno) {
    setLastSystemError(systemError);
    return false;
}

// Not blocking where the name may be a pipe's, whose other end nobody need hold.
int flagsFor(FileUse use) {
    switch (use) {
        case FileUse::read:
            return O_RDONLY | O_NONBLOCK;
        case FileUse::append:
            return O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK;
        case FileUse::overwrite:
            return O_WRONLY | O_CREAT | O_APPEND | O_TRUNC | O_NONBLOCK;
        case FileUse::temporary:
        case FileUse::privateTemporary:
            break;
    }
    return O_WRONLY | O_CREAT | O_EXCL;
}

NativeFile opened(const NativePath& path, int flags, mode_t mode) {
    int number = -1;
    do {
        number = open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return clearOfStandardStreams(NativeFile(number));
}

}  // namespace

std::string nativePath(std::u16string_view path) {
    std::string native = Ferrow::toUtf8(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

NativePath checkedPath(const std::u16string& path) {
    if (!path.empty() && path.find(u'\0') == std::u16string::npos)
        return nativePath(path);
    setLastError(path.empty() ? errorPathNotFound : errorInvalidName);
    return {};
}

NativeFile openFile(const NativePath& path, FileUse use) {
    NativeFile file = opened(path, flagsFor(use), use == FileUse::privateTemporary ? 0600 : 0644);
    if (!file)
        failed();
    // A pipe whose other end is let go of would end the process.
    else if (use != FileUse::read && !regularSize(file))
        file.reset();
    return file;
}

std::optional<uint64_t> regularSize(const NativeFile& file) {
    struct stat status {};
    if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))
        return static_cast<uint64_t>(status.st_size);
    setLastError(errorAccessDenied);
    return std::nullopt;
}

std::optional<size_t> readSome(const NativeFile& file, char* buffer, size_t size) {
    ssize_t count = 0;
    do {
        count = read(file.get(), buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count >= 0)
        return static_cast<size_t>(count);
    failed();
    return std::nullopt;
}

bool writeAll(const NativeFile& file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file.get(), text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return failed(written < 0 ? errno : EIO);
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

bool moveIntoPlace(NativeFile file, const NativePath& from, const NativePath& to) {
    struct stat before {};
    if (stat(to.c_str(), &before) == 0) {
        struct stat now {};
        if (fstat(file.get(), &now) != 0)
            return failed();
        // Without its group the mode would let another group in.
        const bool hasGroup =
            now.st_gid == before.st_gid || fchown(file.get(), static_cast<uid_t>(-1), before.st_gid) == 0;
        if (fchmod(file.get(), before.st_mode & (hasGroup ? 07777 : 07707)) != 0)
            return failed();
    }
    if (fsync(file.get()) != 0)
        return failed();
    return renamePath(from, to);
}

std::optional<FileIdentity> identityOf(const NativeFile& file) {
    struct stat status {};
    if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))
        return FileIdentity{status.st_dev, status.st_ino};
    return std::nullopt;
}

std::optional<FileStatus> statusOf(const NativePath& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0)
        return FileStatus{static_cast<uint64_t>(status.st_size), S_ISDIR(status.st_mode),
                          FileIdentity{status.st_dev, status.st_ino}};
    failed();
    return std::nullopt;
}

bool makeFolder(const NativePath& path) {
    return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST || failed();
}

bool makePrivateFolder(const NativePath& path) {
    constexpr mode_t ownAccount = 0700;
    if (mkdir(path.c_str(), ownAccount) == 0)
        return true;
    if (errno != EEXIST)
        return failed();
    const NativeFile folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!folder || fstat(folder.get(), &status) != 0)
        return failed();
    return (status.st_uid == geteuid() && fchmod(folder.get(), ownAccount) == 0) || failed(EACCES);
}

bool removePath(const NativePath& path) {
    return unlink(path.c_str()) == 0 || failed();
}

bool renamePath(const NativePath& from, const NativePath& to) {
    return rename(from.c_str(), to.c_str()) == 0 || failed();
}

}  // namespace Platform
