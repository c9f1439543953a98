#include "platform/DebuggerOutput.h"

#include <windows.h>

#include "platform/windows/Wide.h"

namespace Platform {

void writeToDebugger(const std::u16string& text) {
    OutputDebugStringW(wide(text));
}

}  // namespace Platform
