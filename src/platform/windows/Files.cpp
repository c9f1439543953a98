#include "platform/Files.h"

#include <algorithm>
#include <atomic>

#include "Handle.h"
#include "Wide.h"
#include "platform/Encoding.h"

namespace Platform {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

Handle openFile(const std::u16string& systemPath, DWORD access, DWORD disposition) {
    return Handle(CreateFileW(wide(systemPath), access, shareAll, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                              nullptr));
}

bool writeAll(HANDLE file, std::string_view text) {
    constexpr size_t most = 1 << 24;
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteFile(file, text.data(), static_cast<DWORD>(std::min(most, text.size())), &written, nullptr))
            return false;
        if (written == 0) {
            SetLastError(ERROR_WRITE_FAULT);
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

// Replaces the target. A scanner or an indexer may hold it for a moment without letting others delete it.
bool moveOver(const std::u16string& from, const std::u16string& to) {
    constexpr int attempts = 10;
    for (int attempt = 1;; ++attempt) {
        if (MoveFileExW(wide(from), wide(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return true;
        const DWORD error = GetLastError();
        if ((error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) || attempt == attempts)
            return false;
        Sleep(static_cast<DWORD>(5 * attempt));
        SetLastError(error);
    }
}

bool isFolder(const std::u16string& systemPath) {
    const DWORD attributes = GetFileAttributesW(wide(systemPath));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

}  // namespace

std::string nativePath(std::u16string_view path) {
    return utf8Of(path);
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
    const std::u16string system = systemPath(path);
    return !system.empty() && GetFileAttributesW(wide(system)) != INVALID_FILE_ATTRIBUTES;
}

std::optional<uint64_t> fileSize(const std::u16string& path) {
    const std::u16string system = systemPath(path);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (system.empty() || !GetFileAttributesExW(wide(system), GetFileExInfoStandard, &data))
        return std::nullopt;
    return static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

std::optional<std::string> readFile(const std::u16string& path, size_t mostBytes) {
    const std::u16string system = systemPath(path);
    if (system.empty())
        return std::nullopt;
    const Handle file = openFile(system, GENERIC_READ, OPEN_EXISTING);
    if (!file)
        return std::nullopt;
    LARGE_INTEGER size{};
    if (GetFileType(file.get()) != FILE_TYPE_DISK || !GetFileSizeEx(file.get(), &size)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return std::nullopt;
    }
    if (static_cast<uint64_t>(size.QuadPart) > mostBytes) {
        SetLastError(ERROR_FILE_TOO_LARGE);
        return std::nullopt;
    }
    std::string text;
    size_t length = 0;
    for (;;) {
        // One byte more than is expected, so that a file of the expected size ends in the second read.
        const auto expected = static_cast<size_t>(size.QuadPart);
        if (length == text.size())
            text.resize(length < expected ? expected + 1 : length + 16384);
        constexpr size_t most = 1 << 24;
        DWORD count = 0;
        if (!ReadFile(file.get(), text.data() + length,
                      static_cast<DWORD>(std::min(most, text.size() - length)), &count, nullptr))
            return std::nullopt;
        if (count == 0)
            break;
        length += count;
        if (length > mostBytes) {
            SetLastError(ERROR_FILE_TOO_LARGE);
            return std::nullopt;
        }
    }
    text.resize(length);
    return text;
}

bool writeFileAtomically(const std::u16string& path, std::string_view text) {
    const std::u16string system = systemPath(path);
    if (system.empty())
        return false;
    static constinit std::atomic<uint32_t> counter{0};
    const std::u16string temporary = system + utf16Of("." + std::to_string(GetCurrentProcessId()) + "-" +
                                                      std::to_string(counter.fetch_add(1)) + ".tmp");
    bool done = false;
    {
        const Handle file = openFile(temporary, GENERIC_WRITE, CREATE_ALWAYS);
        if (!file)
            return false;
        done = writeAll(file.get(), text) && FlushFileBuffers(file.get());
    }
    if (done && moveOver(temporary, system))
        return true;
    const DWORD error = GetLastError();
    DeleteFileW(wide(temporary));
    SetLastError(error);
    return false;
}

bool appendToFile(const std::u16string& path, std::string_view text, bool truncate) {
    const std::u16string system = systemPath(path);
    if (system.empty())
        return false;
    const Handle file =
        openFile(system, truncate ? GENERIC_WRITE : FILE_APPEND_DATA, truncate ? CREATE_ALWAYS : OPEN_ALWAYS);
    return file && writeAll(file.get(), text);
}

bool createFolders(const std::u16string& path) {
    const std::u16string system = systemPath(path);
    if (system.empty())
        return false;
    if (isFolder(system))
        return true;
    // From the first separator after the drive or the share's name on.
    size_t end = system.starts_with(u"\\\\?\\UNC\\") ? 8
                 : system.starts_with(u"\\\\?\\")    ? 7
                 : system.starts_with(u"\\\\")       ? 2
                                                     : 0;
    while (end != std::u16string::npos) {
        end = system.find_first_of(u"\\/", end + 1);
        const std::u16string folder = system.substr(0, end);
        if (!CreateDirectoryW(wide(folder), nullptr) && end == std::u16string::npos && !isFolder(system))
            return false;
    }
    return true;
}

bool removeFile(const std::u16string& path) {
    const std::u16string system = systemPath(path);
    return !system.empty() && DeleteFileW(wide(system));
}

bool renameFile(const std::u16string& from, const std::u16string& to) {
    const std::u16string systemFrom = systemPath(from);
    const std::u16string systemTo = systemFrom.empty() ? std::u16string() : systemPath(to);
    return !systemTo.empty() && moveOver(systemFrom, systemTo);
}

}  // namespace Platform
