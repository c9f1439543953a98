#include "platform/DebuggerOutput.h"

#include <cstdio>

#include "platform/Encoding.h"

namespace Platform {

void writeToDebugger(const std::u16string& text) {
    const std::string bytes = utf8Of(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

}  // namespace Platform
