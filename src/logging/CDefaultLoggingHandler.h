#pragma once

#include <string>

#include "logging/CLoggingHandlerIf.h"

namespace Ferrow {

// Sends messages to the debugger.
class CDefaultLoggingHandler : public CLoggingHandlerIf {
public:
    using Output = void (*)(const std::u16string& text);

    explicit CDefaultLoggingHandler(Output output) noexcept : output_(output) {}
    CDefaultLoggingHandler() noexcept;

    // Sends the message as it stands, not the line that is made of it. Nothing for level 0.
    void log(uint32_t level, const char16_t* file, uint32_t line, const char16_t* function,
             const char16_t* message) noexcept override;

    // "file(line): [INFO]: [function]: message" and a line feed; empty for level 0.
    static std::u16string formatLine(uint32_t level, const char16_t* file, uint32_t line,
                                     const char16_t* function, const char16_t* message);

private:
    const Output output_;
};

}  // namespace Ferrow
