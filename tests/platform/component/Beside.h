// Files that the build has put beside the test program.
#pragma once

#include <string>
#include <string_view>

#include "platform/Process.h"

inline std::u16string beside(std::u16string_view file) {
    const std::u16string path = Platform::executablePath();
    return path.substr(0, path.rfind(u'\\') + 1) + std::u16string(file);
}
