// Files and folders. Paths are in Windows form on every system; texts of files are bytes. What fails leaves
// its reason in lastError().
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

// The path as the system's own calls take it: "/" for "\" and UTF-8 where the system is not Windows.
std::string nativePath(std::u16string_view path);
// The reverse: a path that came from the system, in Windows form.
std::u16string portablePath(std::string_view nativePath);

bool fileExists(const std::u16string& path);
std::optional<uint64_t> fileSize(const std::u16string& path);
// Nothing as well for a file of more bytes than mostBytes, and for what is no regular file.
std::optional<std::string> readFile(const std::u16string& path, size_t mostBytes = SIZE_MAX);
enum class FileReaders { asInFolder, ownAccount };
// Replaces the file in one step: readers see the old text or the new one, whatever happens meanwhile. The
// folder must exist. A file for the own account can be read by the system's administrators beside it; on
// Linux one that is there keeps its mode.
bool writeFileAtomically(const std::u16string& path, std::string_view text,
                         FileReaders readers = FileReaders::asInFolder);
// Appends to the file, which is created when missing; truncate empties it first. False for what is no regular
// file.
bool appendToFile(const std::u16string& path, std::string_view text, bool truncate = false);
// Creates the folder and those above it; true as well when it exists.
bool createFolders(const std::u16string& path);
// Creates the folder in an existing one, for the own account and the system's administrators alone; one that
// is there becomes that. False when it belongs to another account.
bool createPrivateFolder(const std::u16string& path);
bool removeFile(const std::u16string& path);
// Replaces what is there under the new name.
bool renameFile(const std::u16string& from, const std::u16string& to);

}  // namespace Platform
