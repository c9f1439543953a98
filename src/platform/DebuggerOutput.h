#pragma once

#include <string>

namespace Platform {

// Sends a text to an attached debugger: OutputDebugString on Windows, standard error elsewhere.
void writeToDebugger(const std::u16string& text);

}  // namespace Platform
