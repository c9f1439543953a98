// The session list of a machine that lists none: the real entry points, answered from the file "sessions" in
// the folder that BREVANT_PLATFORM_DIR names, as the Linux build reads it. No file: session 1 is active.
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

// The second needs the first.
// clang-format off
#include <windows.h>
#include <wtsapi32.h>
// clang-format on

namespace {

// Stays loaded: what its runtime leaves behind is not the product's.
const BOOL stays = [] {
    HMODULE self = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                              reinterpret_cast<LPCWSTR>(&WTSEnumerateSessionsW), &self);
}();

bool readSessions(std::vector<WTS_SESSION_INFOW>& sessions) {
    static const std::map<std::string, WTS_CONNECTSTATE_CLASS> states{{"active", WTSActive},
                                                                      {"connected", WTSConnected},
                                                                      {"disconnected", WTSDisconnected},
                                                                      {"idle", WTSIdle}};
    // Not getenv: the program's runtime and this one keep their own copies of the environment.
    wchar_t folder[MAX_PATH] = L"";
    if (!GetEnvironmentVariableW(L"BREVANT_PLATFORM_DIR", folder, MAX_PATH))
        folder[0] = 0;
    std::ifstream file((std::wstring(folder) + L"\\sessions").c_str());
    if (!file) {
        sessions.push_back({1, nullptr, WTSActive});
        return true;
    }
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        DWORD id = 0;
        std::string state;
        if (words >> std::ws && words.eof())
            continue;
        if (!(words >> id >> state) || states.count(state) == 0)
            return false;
        sessions.push_back({id, nullptr, states.at(state)});
    }
    return true;
}

}  // namespace

extern "C" {

__declspec(dllexport) BOOL WINAPI
    WTSEnumerateSessionsW(HANDLE, DWORD, DWORD version, PWTS_SESSION_INFOW* list, DWORD* count) {
    std::vector<WTS_SESSION_INFOW> sessions;
    if (version != 1 || !list || !count || !readSessions(sessions)) {
        SetLastError(version != 1 ? ERROR_INVALID_PARAMETER : ERROR_INVALID_DATA);
        return FALSE;
    }
    *list = static_cast<PWTS_SESSION_INFOW>(std::calloc(sessions.size() + 1, sizeof **list));
    if (!*list) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    static wchar_t noName[] = L"";
    for (size_t i = 0; i < sessions.size(); ++i) {
        (*list)[i] = sessions[i];
        (*list)[i].pWinStationName = noName;
    }
    *count = static_cast<DWORD>(sessions.size());
    return TRUE;
}

__declspec(dllexport) void WINAPI WTSFreeMemory(void* memory) {
    std::free(memory);
}
}
