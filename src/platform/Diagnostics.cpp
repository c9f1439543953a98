#include "platform/Diagnostics.h"

#include <atomic>

namespace Platform {
namespace {

constinit std::atomic<DiagnosticSink> currentSink{nullptr};

}  // namespace

void setDiagnosticSink(DiagnosticSink sink) noexcept {
    currentSink.store(sink);
}

void reportDiagnostic(uint32_t level, const char16_t* sourceFile, const char16_t* function, uint32_t line,
                      const std::u16string& message) {
    if (const DiagnosticSink sink = currentSink.load())
        sink(level, sourceFile, function, line, message);
}

}  // namespace Platform
