#pragma once

#include <optional>
#include <string>

namespace Platform {

// The string "FileVersion" of a file's version resource, under the first language and code page that it
// lists; nothing when the file has none. Systems without version resources always answer nothing.
std::optional<std::u16string> fileVersion(const std::u16string& path);

}  // namespace Platform
