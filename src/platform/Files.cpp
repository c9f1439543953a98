#include "platform/Files.h"

#include <algorithm>
#include <atomic>

#include "platform/FileCalls.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Platform {
namespace {

constexpr uint32_t errorFileTooLarge = 223;

bool failed(uint32_t error) {
    setLastError(error);
    return false;
}

// A new file beside another; its name is told.
NativeFile makeTemporary(const NativePath& beside, FileUse use, NativePath& name) {
    static constinit std::atomic<uint32_t> counter{0};
    const std::string process = "." + std::to_string(currentProcessId()) + "-";
    // Names are taken by files that a crash left behind, or by what others put there to be written through.
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const std::string ending = process + std::to_string(counter.fetch_add(1)) + ".tmp";
        name.assign(beside).append(ending.begin(), ending.end());
        NativeFile file = openFile(name, use);
        if (file || (lastError() != errorFileExists && lastError() != errorAlreadyExists))
            return file;
    }
    return NativeFile();
}

}  // namespace

std::u16string portablePath(std::string_view nativePath) {
    std::u16string path = Ferrow::toUtf16(nativePath);
    std::replace(path.begin(), path.end(), u'/', u'\\');
    return path;
}

bool fileExists(const std::u16string& path) {
    const NativePath native = checkedPath(path);
    return !native.empty() && statusOf(native);
}

std::optional<uint64_t> fileSize(const std::u16string& path) {
    const NativePath native = checkedPath(path);
    const std::optional<FileStatus> status = native.empty() ? std::nullopt : statusOf(native);
    return status ? std::optional(status->size) : std::nullopt;
}

std::optional<std::string> readFile(const std::u16string& path, size_t mostBytes) {
    const NativePath native = checkedPath(path);
    if (native.empty())
        return std::nullopt;
    const NativeFile file = openFile(native, FileUse::read);
    const std::optional<uint64_t> size = file ? regularSize(file) : std::nullopt;
    if (!size)
        return std::nullopt;
    std::string text;
    size_t length = 0;
    // Before the memory is taken, and again in the loop for a file that grows meanwhile.
    for (uint64_t known = *size;; known = length) {
        if (known > mostBytes) {
            setLastError(errorFileTooLarge);
            return std::nullopt;
        }
        // One byte more than is expected, so that a file of the expected size ends in the second read.
        if (length == text.size())
            text.resize(length < *size ? static_cast<size_t>(*size) + 1 : length + 16384);
        const std::optional<size_t> count = readSome(file, text.data() + length, text.size() - length);
        if (!count)
            return std::nullopt;
        if (*count == 0)
            break;
        length += *count;
    }
    text.resize(length);
    return text;
}

bool writeFileAtomically(const std::u16string& path, std::string_view text, FileReaders readers) {
    const NativePath native = checkedPath(path);
    if (native.empty())
        return false;
    NativePath temporary;
    NativeFile file = makeTemporary(
        native, readers == FileReaders::ownAccount ? FileUse::privateTemporary : FileUse::temporary,
        temporary);
    if (!file)
        return false;
    if (writeAll(file, text) && moveIntoPlace(std::move(file), temporary, native))
        return true;
    const uint32_t error = lastError();
    removePath(temporary);
    return failed(error);
}

bool appendToFile(const std::u16string& path, std::string_view text, bool truncate) {
    const NativePath native = checkedPath(path);
    if (native.empty())
        return false;
    const NativeFile file = openFile(native, truncate ? FileUse::overwrite : FileUse::append);
    return file && writeAll(file, text);
}

bool createFolders(const std::u16string& path) {
    const NativePath native = checkedPath(path);
    if (native.empty())
        return false;
    if (const std::optional<FileStatus> status = statusOf(native))
        return status->folder || failed(errorAlreadyExists);
    constexpr NativePath::value_type separators[] = {'\\', '/', 0};
    // Up to the nearest folder that is there (asked with its separator, as the root of a drive must be), and
    // down again.
    size_t end = native.size();
    do
        end = end == 0 ? NativePath::npos : native.find_last_of(separators, end - 1);
    while (end != NativePath::npos && !statusOf(native.substr(0, end + 1)));
    while (end != native.size()) {
        end = std::min(native.find_first_of(separators, end + 1), native.size());
        if (!makeFolder(native.substr(0, end)))
            return false;
    }
    const std::optional<FileStatus> made = statusOf(native);
    return made && (made->folder || failed(errorAlreadyExists));
}

bool createPrivateFolder(const std::u16string& path) {
    const NativePath native = checkedPath(path);
    return !native.empty() && makePrivateFolder(native);
}

bool removeFile(const std::u16string& path) {
    const NativePath native = checkedPath(path);
    return !native.empty() && removePath(native);
}

bool renameFile(const std::u16string& from, const std::u16string& to) {
    const NativePath nativeFrom = checkedPath(from);
    const NativePath nativeTo = nativeFrom.empty() ? NativePath() : checkedPath(to);
    return !nativeTo.empty() && renamePath(nativeFrom, nativeTo);
}

}  // namespace Platform
