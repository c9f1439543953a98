#include "platform/UserSessions.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/KnownFiles.h"
#include "platform/Process.h"
#include "platform/ProcessWide.h"
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

// Their error is 0 when there is none.
struct SessionList {
    std::vector<UserSession> sessions;
    uint32_t error = 0;
};

SessionList readSessions(const std::u16string& path) {
    setLastError(0);
    const std::optional<std::string> text = readFile(path, mostBytes);
    if (!text && (lastError() == errorFileNotFound || lastError() == errorPathNotFound))
        return {{{1, UserSessionState::active}}};
    if (!text)
        return {{}, lastError()};
    SessionList list;
    std::string_view rest = *text;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        const std::string_view whole = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        const std::string_view line = Ferrow::trimmed(whole.substr(0, whole.find('#')));
        if (line.empty())
            continue;
        const std::optional<UserSession> session = parseSession(line);
        if (!session)
            return {{}, errorInvalidData};
        list.sessions.push_back(*session);
    }
    return list;
}

// What the file said, for as long as it is known to say so.
class SessionFile {
public:
    SessionList current() {
        const std::u16string path = platformFolder() + u"\\sessions";
        MutexLock lock(mutex_);
        if (path == path_ && watch_.unchanged())
            return list_;
        path_.clear();
        watch_.follow({&path, 1});
        SessionList list = readSessions(path);
        // Any other failure may pass without a change of the file.
        if (list.error == 0 || list.error == errorInvalidData) {
            list_ = list;
            path_ = path;
        }
        return list;
    }

private:
    Mutex mutex_;  // leaf: the file is read under it so that one thread reads for all
    std::u16string path_ GUARDED_BY(mutex_);  // empty while nothing is known
    KnownFiles watch_ GUARDED_BY(mutex_);
    SessionList list_ GUARDED_BY(mutex_);
};

constinit ProcessWide<SessionFile> sessionFile;

}  // namespace

bool enumerateUserSessions(std::vector<UserSession>& sessions) {
    SessionList list = sessionFile.get().current();
    sessions = std::move(list.sessions);
    setLastError(list.error);
    return list.error == 0;
}

}  // namespace Platform
