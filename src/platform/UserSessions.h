// The interactive user sessions of this machine.
#pragma once

#include <cstdint>
#include <vector>

namespace Platform {

enum class UserSessionState { active, connected, disconnected, idle, other };

struct UserSession {
    uint32_t id;
    UserSessionState state;
};

// Lists the sessions in the system's order. False on failure, with lastError() telling why.
bool enumerateUserSessions(std::vector<UserSession>& sessions);

}  // namespace Platform
