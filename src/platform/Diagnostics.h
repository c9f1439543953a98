// What this layer has to report. It stands below the log, so it hands its reports to whoever asked for them.
// A report can come out of any read of the registry, so also while the log itself is being built: a sink that
// builds the log on first use must be set after that. No lock of this layer is held during the call.
#pragma once

#include <cstdint>
#include <string>

namespace Platform {

using DiagnosticSink = void (*)(uint32_t level, const char16_t* sourceFile, const char16_t* function,
                                uint32_t line, const std::u16string& message);

// Null drops the reports. Any thread.
void setDiagnosticSink(DiagnosticSink sink) noexcept;
void reportDiagnostic(uint32_t level, const char16_t* sourceFile, const char16_t* function, uint32_t line,
                      const std::u16string& message);

}  // namespace Platform
