#include "alerts/sessions/ActiveSession.h"

#include <algorithm>

#include "logging/Log.h"
#include "platform/Process.h"

namespace Vok {

std::optional<uint32_t> findActiveSession(const SessionEnumerator& enumerate, std::u16string_view source,
                                          std::u16string_view function) {
    std::vector<Platform::UserSession> sessions;
    if (!enumerate(sessions)) {
        const uint32_t error = Platform::lastError();
        ETWLogging::logFormatted(ETWLogging::levelError, source, function, __LINE__,
                                 u"Failed to EnumerateSessions. Error: %lu.", error);
        return std::nullopt;
    }
    const auto active =
        std::ranges::find(sessions, Platform::UserSessionState::active, &Platform::UserSession::state);
    if (active == sessions.end() || active->id == 0) {
        ETWLogging::logMessage(ETWLogging::levelWarning, source, function, __LINE__,
                               u"No active session was found.");
        return std::nullopt;
    }
    return active->id;
}

}  // namespace Vok
