// The process, its executable and its user session.
#pragma once

#include <cstdint>
#include <string>

namespace Platform {

uint32_t currentProcessId() noexcept;

// The user session that a process belongs to; false when it cannot be told.
bool processIdToSessionId(uint32_t processId, uint32_t& sessionId) noexcept;

// The last error of the calling thread, as the functions of this folder leave it.
uint32_t lastError() noexcept;
void setLastError(uint32_t error) noexcept;

// Full path of the process's executable, in Windows form; empty when it cannot be read.
std::u16string executablePath();

}  // namespace Platform
