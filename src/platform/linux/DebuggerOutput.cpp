#include "platform/DebuggerOutput.h"

#include <cstdio>

#include "text/Utf.h"

namespace Platform {

void writeToDebugger(const std::u16string& text) {
    const std::string bytes = Ferrow::toUtf8(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

}  // namespace Platform
