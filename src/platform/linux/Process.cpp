#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/Files.h"
#include "platform/UserSessions.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/NativeErrors.h"
#include "text/Utf.h"

namespace Platform {
namespace {

constinit thread_local uint32_t threadsLastError = 0;

constexpr const char* executable = "/proc/self/exe";

// The system says so behind the name of a program that has been removed or replaced since it was started.
std::string withoutDeleted(std::string path) {
    constexpr std::string_view deleted = " (deleted)";
    struct stat running {};
    struct stat named {};
    if (!path.ends_with(deleted))
        return path;
    // A program may have such a name of its own.
    if (stat(executable, &running) != 0 || stat(path.c_str(), &named) != 0 ||
        running.st_dev != named.st_dev || running.st_ino != named.st_ino)
        path.resize(path.size() - deleted.size());
    return path;
}

bool notHere() noexcept {
    setLastError(errorNotImplemented);
    return false;
}

}  // namespace

uint32_t currentProcessId() noexcept {
    // Asked for each alert, and a system call. A child that goes on without exec asks again.
    static std::atomic<uint32_t> known{0};
    static const int forgotten =
        pthread_atfork(nullptr, nullptr, [] { known.store(0, std::memory_order_relaxed); });
    uint32_t id = known.load(std::memory_order_relaxed);
    if (id == 0) {
        id = static_cast<uint32_t>(getpid());
        if (forgotten == 0)
            known.store(id, std::memory_order_relaxed);
    }
    return id;
}

bool processExists(uint32_t processId) noexcept {
    const auto id = static_cast<pid_t>(processId);
    return id > 0 && (kill(id, 0) == 0 || errno != ESRCH);
}

uint64_t processStart(uint32_t processId) {
    char text[1024];
    const std::string path = "/proc/" + std::to_string(processId) + "/stat";
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t count = file ? read(file.get(), text, sizeof text) : 0;
    // The name of the program, in brackets, may hold whatever it likes; the start is the 20th word after it.
    std::string_view rest(text, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    rest.remove_prefix(std::min(rest.rfind(')') + 1, rest.size()));
    for (int word = 0; word < 20 && !rest.empty(); ++word)
        rest.remove_prefix(std::min(rest.find(' ') + 1, rest.size()));
    uint64_t start = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), start);
    return start;
}

std::optional<std::u16string> environmentVariable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? std::optional(Ferrow::toUtf16(value)) : std::nullopt;
}

bool processIdToSessionId(uint32_t processId, uint32_t& sessionId) noexcept {
    if (processId != currentProcessId()) {
        setLastError(errorInvalidParameter);
        return false;
    }
    const char* text = std::getenv("BREVANT_SESSION_ID");
    uint32_t number = 0;
    if (text) {
        const char* end = text + std::strlen(text);
        const auto [stopped, error] = std::from_chars(text, end, number);
        if (error != std::errc() || stopped != end) {
            setLastError(errorInvalidData);
            return false;
        }
    }
    sessionId = number;
    return true;
}

uint32_t lastError() noexcept {
    return threadsLastError;
}
void setLastError(uint32_t error) noexcept {
    threadsLastError = error;
}

std::u16string executablePath() {
    std::vector<char> buffer(256);
    for (;;) {
        const ssize_t length = readlink(executable, buffer.data(), buffer.size());
        if (length < 0) {
            setLastSystemError(errno);
            return {};
        }
        if (static_cast<size_t>(length) < buffer.size())
            return portablePath(withoutDeleted({buffer.data(), static_cast<size_t>(length)}));
        buffer.resize(buffer.size() * 2);
    }
}

uint32_t processIdOf(void*) noexcept {
    notHere();
    return 0;
}

uint32_t activeConsoleSessionId() noexcept {
    constexpr uint32_t none = 0xFFFFFFFF;
    try {
        std::vector<UserSession> sessions;
        if (!enumerateUserSessions(sessions))
            return none;
        for (const UserSession& session : sessions) {
            if (session.state == UserSessionState::active)
                return session.id;
        }
    } catch (const std::bad_alloc&) {
    }
    return none;
}

void* currentProcessHandle() noexcept {
    notHere();
    return nullptr;
}

uint32_t waitForHandle(void*, uint32_t) noexcept {
    notHere();
    return 0xFFFFFFFF;
}

bool closeHandle(void*) noexcept {
    return notHere();
}
bool processExitCode(void*, uint32_t&) noexcept {
    return notHere();
}
bool terminateProcess(void*, uint32_t) noexcept {
    return notHere();
}
bool openProcessToken(void*, uint32_t, void**) noexcept {
    return notHere();
}
bool adjustTokenPrivileges(void*, bool, void*, uint32_t, void*, uint32_t*) noexcept {
    return notHere();
}
bool lookupPrivilegeValue(const char16_t*, const char16_t*, void*) noexcept {
    return notHere();
}
bool createProcessAsUser(void*, const char16_t*, char16_t*, void*, void*, bool, uint32_t, void*,
                         const char16_t*, void*, void*) noexcept {
    return notHere();
}

}  // namespace Platform
