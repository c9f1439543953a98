#include "platform/UserSessions.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/linux/NativeErrors.h"
#include "text/Utf.h"

namespace Platform {
namespace {

constexpr size_t mostBytes = 1 << 20;

std::optional<UserSession> parseSession(std::string_view line) {
    UserSession session{};
    const char* end = line.data() + line.size();
    const auto [stopped, error] = std::from_chars(line.data(), end, session.id);
    if (error != std::errc() || stopped == end || (*stopped != ' ' && *stopped != '\t'))
        return std::nullopt;
    const std::string_view state = Ferrow::trimmed({stopped, static_cast<size_t>(end - stopped)});
    if (state == "active")
        session.state = UserSessionState::active;
    else if (state == "connected")
        session.state = UserSessionState::connected;
    else if (state == "disconnected")
        session.state = UserSessionState::disconnected;
    else if (state == "idle")
        session.state = UserSessionState::idle;
    else
        return std::nullopt;
    return session;
}

}  // namespace

bool enumerateUserSessions(std::vector<UserSession>& sessions) {
    sessions.clear();
    setLastError(0);
    const std::optional<std::string> text = readFile(platformFolder() + u"\\sessions", mostBytes);
    if (!text) {
        if (lastError() != errorFileNotFound && lastError() != errorPathNotFound)
            return false;
        setLastError(0);
        sessions.push_back({1, UserSessionState::active});
        return true;
    }
    std::string_view rest = *text;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        const std::string_view whole = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        const std::string_view line = Ferrow::trimmed(whole.substr(0, whole.find('#')));
        if (line.empty())
            continue;
        const std::optional<UserSession> session = parseSession(line);
        if (!session) {
            sessions.clear();
            setLastError(errorInvalidData);
            return false;
        }
        sessions.push_back(*session);
    }
    return true;
}

}  // namespace Platform
