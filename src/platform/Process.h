// The process, its executable and its user session.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Platform {

uint32_t currentProcessId() noexcept;

// Whether a process of that id runs, or cannot be told about. Ids are used again.
bool processExists(uint32_t processId) noexcept;

// When the process began, in units of the system's own; tells processes of the same id apart. 0 when it
// cannot be told.
uint64_t processStart(uint32_t processId);

// Nothing when the variable is not set. Names are ASCII.
std::optional<std::u16string> environmentVariable(const char* name);

// The user session that a process belongs to; false when it cannot be told.
bool processIdToSessionId(uint32_t processId, uint32_t& sessionId) noexcept;

// The last error of the calling thread, as the functions of this folder leave it.
uint32_t lastError() noexcept;
void setLastError(uint32_t error) noexcept;

// Full path of the process's executable, in Windows form, also after another took its place; empty when it
// cannot be read.
std::u16string executablePath();

// The system's functions for processes and their tokens, under the system's rules. A handle is whatever the
// system gave; where the system has no such functions, each fails and lastError() is 120.
// The structures are the system's own.
uint32_t processIdOf(void* process) noexcept;  // 0 on failure
uint32_t activeConsoleSessionId() noexcept;    // 0xFFFFFFFF when no session is attached to the console
void* currentProcessHandle() noexcept;         // a pseudo handle, never closed
uint32_t waitForHandle(void* handle, uint32_t milliseconds) noexcept;  // 0xFFFFFFFF on failure
bool closeHandle(void* handle) noexcept;
bool processExitCode(void* process, uint32_t& exitCode) noexcept;
bool terminateProcess(void* process, uint32_t exitCode) noexcept;
bool openProcessToken(void* process, uint32_t access, void** token) noexcept;
bool adjustTokenPrivileges(void* token, bool disableAll, void* newState, uint32_t size, void* previousState,
                           uint32_t* returnedSize) noexcept;
bool lookupPrivilegeValue(const char16_t* system, const char16_t* name, void* identifier) noexcept;
bool createProcessAsUser(void* token, const char16_t* application, char16_t* commandLine,
                         void* processAttributes, void* threadAttributes, bool inheritHandles, uint32_t flags,
                         void* environment, const char16_t* folder, void* startupInfo,
                         void* processInformation) noexcept;

}  // namespace Platform
