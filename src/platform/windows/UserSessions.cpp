#include "platform/UserSessions.h"

#include <memory>
#include <windows.h>
#include <wtsapi32.h>

namespace Platform {
namespace {

UserSessionState stateOf(WTS_CONNECTSTATE_CLASS state) {
    switch (state) {
        case WTSActive:
            return UserSessionState::active;
        case WTSConnected:
            return UserSessionState::connected;
        case WTSDisconnected:
            return UserSessionState::disconnected;
        case WTSIdle:
            return UserSessionState::idle;
        default:
            return UserSessionState::other;
    }
}

}  // namespace

bool enumerateUserSessions(std::vector<UserSession>& sessions) {
    sessions.clear();
    WTS_SESSION_INFOW* list = nullptr;
    DWORD count = 0;
    if (!WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &list, &count))
        return false;
    const std::unique_ptr<WTS_SESSION_INFOW, decltype(&WTSFreeMemory)> owned(list, WTSFreeMemory);
    for (DWORD index = 0; index < count; ++index)
        sessions.push_back({list[index].SessionId, stateOf(list[index].State)});
    return true;
}

}  // namespace Platform
