// The system's process functions, replaceable one by one.
#pragma once

#include <cstdint>

namespace Tavix {

// Each operation is the system function of its name; where the system lacks it, it fails.
class ProcessAPI {
public:
    virtual ~ProcessAPI() = default;
    virtual uint32_t GetCurrentProcessId();
    virtual uint32_t GetProcessId(void* process);
    virtual bool ProcessIdToSessionId(uint32_t processId, uint32_t* sessionId);
    virtual uint32_t WTSGetActiveConsoleSessionId();
    virtual void* GetCurrentProcess();
    virtual bool CreateProcessAsUserW(void* token, const char16_t* application, char16_t* commandLine,
                                      void* processAttributes, void* threadAttributes, bool inheritHandles,
                                      uint32_t flags, void* environment, const char16_t* folder,
                                      void* startupInfo, void* processInformation);
    virtual bool OpenProcessToken(void* process, uint32_t access, void** token);
    virtual bool AdjustTokenPrivileges(void* token, bool disableAll, void* newState, uint32_t size,
                                       void* previousState, uint32_t* returnedSize);
    virtual bool LookupPrivilegeValueW(const char16_t* system, const char16_t* name, void* identifier);
    virtual bool GetExitCodeProcess(void* process, uint32_t* exitCode);
    virtual bool TerminateProcess(void* process, uint32_t exitCode);
    virtual bool CloseHandle(void* handle);
    virtual uint32_t GetLastError();
    virtual uint32_t WaitForSingleObject(void* handle, uint32_t milliseconds);
};

}  // namespace Tavix
