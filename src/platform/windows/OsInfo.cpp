#include "platform/OsInfo.h"

#include <windows.h>

namespace Platform {

MachineKind machineKind() {
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    switch (info.wProcessorArchitecture) {
        case PROCESSOR_ARCHITECTURE_INTEL:
            return MachineKind::x86;
        case PROCESSOR_ARCHITECTURE_AMD64:
            return MachineKind::x64;
        default:
            return MachineKind::unknown;
    }
}

bool isWow64Process() {
    using Query = BOOL(WINAPI*)(HANDLE, BOOL*);
    const HMODULE kernel = GetModuleHandleW(L"kernel32");
    const auto query =
        kernel ? reinterpret_cast<Query>(reinterpret_cast<void*>(GetProcAddress(kernel, "IsWow64Process")))
               : nullptr;
    BOOL answer = FALSE;
    return query && query(GetCurrentProcess(), &answer) && answer;
}

}  // namespace Platform
