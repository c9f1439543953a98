#pragma once

#include <cstdint>
#include <string_view>

namespace ETWLogging {

// Levels from here on are never enabled.
constexpr uint32_t levelLimit = 31;

struct LogRecord {
    uint32_t level = 0;
    std::u16string_view sourceFile;  // as in the call; may carry a folder ("dll\SharedLibrary")
    std::u16string_view function;
    uint32_t line = 0;
    std::u16string_view message;  // no data at all (not merely no characters) is a missing message
};

}  // namespace ETWLogging
