#include "platform/Process.h"

#include <windows.h>
#include <wtsapi32.h>

#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"

namespace Platform {

uint32_t currentProcessId() noexcept {
    return GetCurrentProcessId();
}

bool processExists(uint32_t processId) noexcept {
    const Handle process(OpenProcess(SYNCHRONIZE, FALSE, processId));
    if (!process)
        return GetLastError() == ERROR_ACCESS_DENIED;
    return WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

uint64_t processStart(uint32_t processId) {
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    FILETIME created{}, ended{}, kernel{}, user{};
    if (!process || !GetProcessTimes(process.get(), &created, &ended, &kernel, &user))
        return 0;
    return uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
}

std::optional<std::u16string> environmentVariable(const char* name) {
    const std::u16string wideName(name, name + std::char_traits<char>::length(name));
    std::u16string value(64, u'\0');
    for (;;) {
        SetLastError(ERROR_SUCCESS);
        const DWORD length = GetEnvironmentVariableW(wide(wideName.c_str()), wide(value.data()),
                                                     static_cast<DWORD>(value.size()));
        if (length == 0 && GetLastError() != ERROR_SUCCESS)
            return std::nullopt;
        const bool fits = length < value.size();
        value.resize(length);
        if (fits)
            return value;
    }
}

bool processIdToSessionId(uint32_t processId, uint32_t& sessionId) noexcept {
    DWORD session = 0;
    if (!ProcessIdToSessionId(processId, &session))
        return false;
    sessionId = session;
    return true;
}

uint32_t lastError() noexcept {
    return GetLastError();
}
void setLastError(uint32_t error) noexcept {
    SetLastError(error);
}

std::u16string executablePath() {
    return modulePath(nullptr);
}

uint32_t processIdOf(void* process) noexcept {
    return GetProcessId(process);
}
uint32_t activeConsoleSessionId() noexcept {
    return WTSGetActiveConsoleSessionId();
}
void* currentProcessHandle() noexcept {
    return GetCurrentProcess();
}
uint32_t waitForHandle(void* handle, uint32_t milliseconds) noexcept {
    return WaitForSingleObject(handle, milliseconds);
}
bool closeHandle(void* handle) noexcept {
    return CloseHandle(handle) != 0;
}

bool processExitCode(void* process, uint32_t& exitCode) noexcept {
    DWORD code = 0;
    if (!GetExitCodeProcess(process, &code))
        return false;
    exitCode = code;
    return true;
}

bool terminateProcess(void* process, uint32_t exitCode) noexcept {
    return TerminateProcess(process, exitCode) != 0;
}

bool openProcessToken(void* process, uint32_t access, void** token) noexcept {
    return OpenProcessToken(process, access, token) != 0;
}

bool adjustTokenPrivileges(void* token, bool disableAll, void* newState, uint32_t size, void* previousState,
                           uint32_t* returnedSize) noexcept {
    return AdjustTokenPrivileges(token, disableAll, static_cast<TOKEN_PRIVILEGES*>(newState), size,
                                 static_cast<TOKEN_PRIVILEGES*>(previousState),
                                 reinterpret_cast<DWORD*>(returnedSize)) != 0;
}

bool lookupPrivilegeValue(const char16_t* system, const char16_t* name, void* identifier) noexcept {
    return LookupPrivilegeValueW(wide(system), wide(name), static_cast<LUID*>(identifier)) != 0;
}

bool createProcessAsUser(void* token, const char16_t* application, char16_t* commandLine,
                         void* processAttributes, void* threadAttributes, bool inheritHandles, uint32_t flags,
                         void* environment, const char16_t* folder, void* startupInfo,
                         void* processInformation) noexcept {
    return CreateProcessAsUserW(token, wide(application), wide(commandLine),
                                static_cast<SECURITY_ATTRIBUTES*>(processAttributes),
                                static_cast<SECURITY_ATTRIBUTES*>(threadAttributes), inheritHandles, flags,
                                environment, wide(folder), static_cast<STARTUPINFOW*>(startupInfo),
                                static_cast<PROCESS_INFORMATION*>(processInformation)) != 0;
}

}  // namespace Platform
