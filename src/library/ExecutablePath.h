// The path of the process's executable, in parts.
#pragma once

#include <string>
#include <string_view>

namespace Ferrow {

struct PathParts {
    std::u16string drive;      // "C:"
    std::u16string directory;  // with its trailing "\"
    std::u16string name;       // without extension
    std::u16string extension;  // with its leading "."
};

// All parts are empty when one of them does not fit its buffer: 3 characters for the drive, 256 for each
// other, with the terminating zero.
PathParts splitPath(std::u16string_view path);

// Computed on the first call. All parts are empty when the path cannot be read or does not fit 260 characters
// with the terminating zero.
const PathParts& executablePathParts();

}  // namespace Ferrow
