#include "platform/Files.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

#include "FileDescriptor.h"
#include "NativeErrors.h"
#include "platform/Encoding.h"
#include "platform/Process.h"

namespace Platform {
namespace {

bool failed(int systemError = errno) {
    setLastSystemError(systemError);
    return false;
}

// The path for a system call; empty, with the last error set, when it cannot name a file.
std::string checkedPath(const std::u16string& path) {
    if (path.empty() || path.find(u'\0') != std::u16string::npos) {
        setLastError(path.empty() ? 3 : errorInvalidName);
        return {};
    }
    return nativePath(path);
}

FileDescriptor openFile(const std::string& path, int flags, mode_t mode = 0) {
    int number = -1;
    do {
        number = open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return FileDescriptor(number);
}

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return failed(written < 0 ? errno : EIO);
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

}  // namespace

std::string nativePath(std::u16string_view path) {
    std::string native = utf8Of(path);
    for (char& byte : native) {
        if (byte == '\\')
            byte = '/';
    }
    return native;
}

std::u16string portablePath(std::string_view nativePath) {
    std::u16string path = utf16Of(nativePath);
    for (char16_t& unit : path) {
        if (unit == u'/')
            unit = u'\\';
    }
    return path;
}

bool fileExists(const std::u16string& path) {
    const std::string native = checkedPath(path);
    struct stat status {};
    if (native.empty())
        return false;
    return stat(native.c_str(), &status) == 0 || failed();
}

std::optional<uint64_t> fileSize(const std::u16string& path) {
    const std::string native = checkedPath(path);
    struct stat status {};
    if (native.empty())
        return std::nullopt;
    if (stat(native.c_str(), &status) != 0) {
        failed();
        return std::nullopt;
    }
    return static_cast<uint64_t>(status.st_size);
}

std::optional<std::string> readFile(const std::u16string& path, size_t mostBytes) {
    const std::string native = checkedPath(path);
    if (native.empty())
        return std::nullopt;
    // Not blocking: a pipe under that name must not hang the reader before it is recognised.
    const FileDescriptor file = openFile(native, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        failed();
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        setLastError(errorAccessDenied);
        return std::nullopt;
    }
    std::string text;
    size_t length = 0;
    for (;;) {
        // One byte more than is expected, so that a file of the expected size ends in the second read.
        const size_t expected = static_cast<size_t>(status.st_size);
        if (length == text.size())
            text.resize(length < expected ? expected + 1 : length + 16384);
        const ssize_t count = read(file.get(), text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            failed();
            return std::nullopt;
        }
        if (count == 0)
            break;
        length += static_cast<size_t>(count);
        if (length > mostBytes) {
            setLastError(223);  // file too large
            return std::nullopt;
        }
    }
    text.resize(length);
    return text;
}

bool writeFileAtomically(const std::u16string& path, std::string_view text) {
    const std::string native = checkedPath(path);
    if (native.empty())
        return false;
    static constinit std::atomic<uint32_t> counter{0};
    const std::string temporary = native + "." + std::to_string(currentProcessId()) + "-" +
                                  std::to_string(counter.fetch_add(1)) + ".tmp";
    struct stat before {};
    const bool replaces = stat(native.c_str(), &before) == 0;
    FileDescriptor file = openFile(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0644);
    if (!file)
        return failed();
    bool done = writeAll(file.get(), text);
    if (done && replaces && fchmod(file.get(), before.st_mode & 07777) != 0)
        done = failed();
    if (done && fsync(file.get()) != 0)
        done = failed();
    file.reset();
    if (done && rename(temporary.c_str(), native.c_str()) != 0)
        done = failed();
    if (!done)
        unlink(temporary.c_str());
    return done;
}

bool appendToFile(const std::u16string& path, std::string_view text, bool truncate) {
    const std::string native = checkedPath(path);
    if (native.empty())
        return false;
    const FileDescriptor file =
        openFile(native, O_WRONLY | O_CREAT | O_APPEND | (truncate ? O_TRUNC : 0), 0644);
    if (!file)
        return failed();
    return writeAll(file.get(), text);
}

bool createFolders(const std::u16string& path) {
    const std::string native = checkedPath(path);
    if (native.empty())
        return false;
    struct stat status {};
    if (stat(native.c_str(), &status) == 0)
        return S_ISDIR(status.st_mode) || failed(EEXIST);
    for (size_t end = native.find('/', 1);; end = native.find('/', end + 1)) {
        const std::string folder = native.substr(0, end);
        if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST)
            return failed();
        if (end == std::string::npos)
            break;
    }
    if (stat(native.c_str(), &status) != 0)
        return failed();
    return S_ISDIR(status.st_mode) || failed(EEXIST);
}

bool removeFile(const std::u16string& path) {
    const std::string native = checkedPath(path);
    if (native.empty())
        return false;
    return unlink(native.c_str()) == 0 || failed();
}

bool renameFile(const std::u16string& from, const std::u16string& to) {
    const std::string nativeFrom = checkedPath(from);
    const std::string nativeTo = nativeFrom.empty() ? std::string() : checkedPath(to);
    if (nativeTo.empty())
        return false;
    return rename(nativeFrom.c_str(), nativeTo.c_str()) == 0 || failed();
}

}  // namespace Platform
