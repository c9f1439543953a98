// Files and folders. Paths are in Windows form on every system; texts of files are bytes.
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
std::optional<std::string> readFile(const std::u16string& path);
// Replaces the file in one step: readers see the old text or the new one, whatever happens meanwhile.
bool writeFileAtomically(const std::u16string& path, std::string_view text);
// Appends to the file, which is created when missing; truncate empties it first.
bool appendToFile(const std::u16string& path, std::string_view text, bool truncate = false);
bool createFolders(const std::u16string& path);
bool removeFile(const std::u16string& path);
bool renameFile(const std::u16string& from, const std::u16string& to);

}  // namespace Platform
