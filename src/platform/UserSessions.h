// The interactive user sessions of this machine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace Platform {

enum class UserSessionState { active, connected, disconnected, idle, other };

struct UserSession {
    uint32_t id;
    UserSessionState state;
};

// Lists the sessions in the system's order. False on failure, with lastError() telling why.
bool enumerateUserSessions(std::vector<UserSession>& sessions);

// The session in which alerts are shown: the first active one. None when no session is active or that one is
// session 0, which belongs to services.
inline std::optional<uint32_t> activeUserSession(const std::vector<UserSession>& sessions) {
    const auto active = std::ranges::find(sessions, UserSessionState::active, &UserSession::state);  // compat
    return active == sessions.end() || active->id == 0 ? std::nullopt : std::optional(active->id);
}

}  // namespace Platform
