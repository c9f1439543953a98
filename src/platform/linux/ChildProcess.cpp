#include "platform/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/Clock.h"
#include "platform/Files.h"
#include "platform/linux/FileDescriptor.h"
#include "text/Utf.h"

namespace Platform {
namespace {

constexpr unsigned closeAtExec = 1U << 2;  // CLOSE_RANGE_CLOEXEC

// In the child, between fork and exec: calls that are safe in signal handlers alone.
[[noreturn]] void becomeProgram(const char* program, char* const* arguments, pid_t parent, int report) {
    const int null = open("/dev/null", O_RDWR);
    for (int standard = 0; standard < 3; ++standard)
        dup2(null, standard);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        signal(number, SIG_DFL);
    // A terminal's Ctrl-C is for the parent, which ends the child in its own time.
    setpgid(0, 0);
    // What others have handed down to this process is not the child's.
    syscall(SYS_close_range, 3, ~0U, closeAtExec);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() == parent)
        execv(program, arguments);
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(report, &error, sizeof error);
    _exit(127);
}

}  // namespace

struct ChildProcess::State {
    pid_t id = -1;
    FileDescriptor handle;  // readable once the child has ended; none on systems that lack it
    std::optional<int> exitCode;

    bool look(int options) {
        int status = 0;
        pid_t ended = 0;
        do {
            ended = waitpid(id, &status, options);
        } while (ended < 0 && errno == EINTR);
        if (ended == id)
            exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        else if (ended < 0)
            exitCode = -1;  // somebody else has waited for it
        return exitCode.has_value();
    }
};

ChildProcess::ChildProcess(const std::u16string& program, const std::vector<std::u16string>& arguments)
    : state_(std::make_unique<State>()) {
    const std::string path = nativePath(program);
    std::vector<std::string> texts{path};
    for (const std::u16string& argument : arguments)
        texts.push_back(Ferrow::toUtf8(argument));
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    const FileDescriptor outcome = clearOfStandardStreams(FileDescriptor(ends[0]));
    FileDescriptor report = clearOfStandardStreams(FileDescriptor(ends[1]));
    const pid_t parent = getpid();
    state_->id = fork();
    if (state_->id == 0)
        becomeProgram(path.c_str(), pointers.data(), parent, report.get());
    const int forkError = errno;
    report.reset();
    if (state_->id < 0)
        throw std::system_error(forkError, std::generic_category(), path);
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(outcome.get(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    if (count > 0) {
        state_->look(0);
        throw std::system_error(error, std::generic_category(), path);
    }
    state_->handle.reset(static_cast<int>(syscall(SYS_pidfd_open, state_->id, 0)));
}

ChildProcess::~ChildProcess() {
    if (state_->exitCode)
        return;
    kill(state_->id, SIGKILL);
    state_->look(0);
}

uint32_t ChildProcess::id() const noexcept {
    return static_cast<uint32_t>(state_->id);
}

void ChildProcess::askToEnd() noexcept {
    if (!state_->exitCode)
        kill(state_->id, SIGTERM);
}

std::optional<int> ChildProcess::waitFor(std::chrono::milliseconds time) {
    const Clock& clock = Clock::steady();
    const Clock::Time until = deadlineAfter(clock.now(), std::chrono::nanoseconds(time));
    while (!state_->exitCode && !state_->look(WNOHANG)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - clock.now());
        if (left.count() <= 0)
            break;
        constexpr std::chrono::milliseconds longestLook{20};  // without a handle
        pollfd ended{state_->handle.get(), POLLIN, 0};
        poll(&ended, 1, static_cast<int>((state_->handle ? left : std::min(left, longestLook)).count()));
    }
    return state_->exitCode;
}

std::u16string findProgram(const std::u16string& name) {
    const char* const path = std::getenv("PATH");
    // Servers live where not every user looks.
    const std::string folders = std::string(path ? path : "") + ":/usr/sbin:/usr/local/sbin:/usr/bin";
    for (size_t begin = 0; begin < folders.size();) {
        const size_t end = std::min(folders.find(':', begin), folders.size());
        // Relative folders are whoever's the current folder is.
        if (const std::string folder = folders.substr(begin, end - begin); folder.starts_with('/')) {
            const std::string file = folder + '/' + Ferrow::toUtf8(name);
            if (access(file.c_str(), X_OK) == 0)
                return portablePath(file);
        }
        begin = end + 1;
    }
    return {};
}

}  // namespace Platform
