// Versions of library files, replaceable.
#pragma once

#include <optional>
#include <string>

namespace Tavix {

class FileVersionReader {
public:
    virtual ~FileVersionReader() = default;
    // The string "FileVersion" of the file's version resource; nothing when the file has none.
    virtual std::optional<std::u16string> fileVersion(const std::u16string& path);
};

}  // namespace Tavix
