#include "alerts/sessions/ActiveSession.h"

#include "logging/Log.h"
#include "platform/Process.h"

namespace Vok {

std::optional<uint32_t> findActiveSession(const SessionEnumerator& enumerate, std::u16string_view source,
                                          std::u16string_view function) {
    std::vector<Platform::UserSession> sessions;
    if (!enumerate(sessions)) {
        const uint32_t error = Platform::lastError();
        ETWLogging::logFormatted(ETWLogging::levelError, source, function, __LINE__,
                                 u"Failed to EnumerateSessions. Error: %lu.", error);  // compat
        return std::nullopt;
    }
    const std::optional<uint32_t> active = Platform::activeUserSession(sessions);
    if (!active)
        ETWLogging::logMessage(ETWLogging::levelWarning, source, function, __LINE__,
                               u"No active session was found.");
    return active;
}

}  // namespace Vok
