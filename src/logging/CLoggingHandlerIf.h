#pragma once

#include <cstdint>

namespace Ferrow {

// Levels of core messages; any other but 0 is unknown.
constexpr uint32_t coreLogNothing = 0;
constexpr uint32_t coreLogInfo = 1;
constexpr uint32_t coreLogError = 2;

class CLoggingHandlerIf {
public:
    virtual ~CLoggingHandlerIf() = default;
    // Any thread. Null texts are empty.
    virtual void log(uint32_t level, const char16_t* file, uint32_t line, const char16_t* function,
                     const char16_t* message) noexcept = 0;
};

}  // namespace Ferrow
