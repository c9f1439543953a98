// The calls of the system that files are read, written and listed with. What fails leaves its reason in
// lastError().
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "NativeFile.h"

namespace Platform {

// The path as the calls below take it; empty when it cannot name a file.
NativePath checkedPath(const std::u16string& path);

enum class FileUse {
    read,
    append,     // created when missing
    overwrite,  // created when missing, else emptied
    temporary,  // created; fails with errorFileExists or errorAlreadyExists where anything has the name
    privateTemporary,  // the same, for the own account and the system's administrators alone
};
constexpr uint32_t errorFileExists = 80;
constexpr uint32_t errorAlreadyExists = 183;
// What is no regular file is not opened to be written.
NativeFile openFile(const NativePath& path, FileUse use);
// Nothing for what is no regular file.
std::optional<uint64_t> regularSize(const NativeFile& file);
// Bytes read: 0 at the end of the file.
std::optional<size_t> readSome(const NativeFile& file, char* buffer, size_t size);
bool writeAll(const NativeFile& file, std::string_view text);
// Makes a file that has been written durable and gives it the name of another, whose access rights it takes
// over where they do not come from the folder.
bool moveIntoPlace(NativeFile file, const NativePath& from, const NativePath& to);

// Tells a file from all others, whatever its name.
struct FileIdentity {
    uint64_t device;
    uint64_t number;

    bool operator==(const FileIdentity&) const = default;
};
// Nothing where asking costs more than opening the file again, and for what is no regular file.
std::optional<FileIdentity> identityOf(const NativeFile& file);

struct FileStatus {
    uint64_t size;
    bool folder;
    std::optional<FileIdentity> identity{};  // as above
};
std::optional<FileStatus> statusOf(const NativePath& path);
// True as well when something of that name exists.
bool makeFolder(const NativePath& path);
// For the own account and the system's administrators alone, also when it was there; false when it is
// another's.
bool makePrivateFolder(const NativePath& path);
bool removePath(const NativePath& path);
bool renamePath(const NativePath& from, const NativePath& to);

}  // namespace Platform
