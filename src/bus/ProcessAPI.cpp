#include "bus/ProcessAPI.h"

#include "platform/Process.h"

namespace Tavix {

uint32_t ProcessAPI::GetCurrentProcessId() {
    return Platform::currentProcessId();
}

uint32_t ProcessAPI::GetProcessId(void* process) {
    return Platform::processIdOf(process);
}

bool ProcessAPI::ProcessIdToSessionId(uint32_t processId, uint32_t* sessionId) {
    return sessionId && Platform::processIdToSessionId(processId, *sessionId);
}

uint32_t ProcessAPI::WTSGetActiveConsoleSessionId() {
    return Platform::activeConsoleSessionId();
}

void* ProcessAPI::GetCurrentProcess() {
    return Platform::currentProcessHandle();
}

bool ProcessAPI::CreateProcessAsUserW(void* token, const char16_t* application, char16_t* commandLine,
                                      void* processAttributes, void* threadAttributes, bool inheritHandles,
                                      uint32_t flags, void* environment, const char16_t* folder,
                                      void* startupInfo, void* processInformation) {
    return Platform::createProcessAsUser(token, application, commandLine, processAttributes, threadAttributes,
                                         inheritHandles, flags, environment, folder, startupInfo,
                                         processInformation);
}

bool ProcessAPI::OpenProcessToken(void* process, uint32_t access, void** token) {
    return Platform::openProcessToken(process, access, token);
}

bool ProcessAPI::AdjustTokenPrivileges(void* token, bool disableAll, void* newState, uint32_t size,
                                       void* previousState, uint32_t* returnedSize) {
    return Platform::adjustTokenPrivileges(token, disableAll, newState, size, previousState, returnedSize);
}

bool ProcessAPI::LookupPrivilegeValueW(const char16_t* system, const char16_t* name, void* identifier) {
    return Platform::lookupPrivilegeValue(system, name, identifier);
}

bool ProcessAPI::GetExitCodeProcess(void* process, uint32_t* exitCode) {
    return exitCode && Platform::processExitCode(process, *exitCode);
}

bool ProcessAPI::TerminateProcess(void* process, uint32_t exitCode) {
    return Platform::terminateProcess(process, exitCode);
}

bool ProcessAPI::CloseHandle(void* handle) {
    return Platform::closeHandle(handle);
}

uint32_t ProcessAPI::GetLastError() {
    return Platform::lastError();
}

uint32_t ProcessAPI::WaitForSingleObject(void* handle, uint32_t milliseconds) {
    return Platform::waitForHandle(handle, milliseconds);
}

}  // namespace Tavix
