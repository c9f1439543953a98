#include "platform/Terminal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "text/Utf.h"

namespace Platform {
namespace {

constexpr int watchedSignals[] = {SIGWINCH, SIGCONT, SIGTSTP};

// What the handler may touch.
std::atomic<int> signalPipe{-1};

void onTerminalSignal(int number) {
    const int error = errno;
    const char what = number == SIGTSTP ? 's' : 'c';
    if (write(signalPipe.load(), &what, 1) < 0) {
        // The pipe is full of the same.
    }
    errno = error;
}

// A background process is stopped when it touches the terminal's settings.
bool isInForeground() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

class TerminalKeyReader final : public KeyReader {
public:
    TerminalKeyReader(const termios& before, const termios& raw, int cancelled, const int (&ends)[2])
        : before_(before), raw_(raw), cancelled_(cancelled), pipe_{ends[0], ends[1]} {
        signalPipe = pipe_[1];
        struct sigaction action {};
        action.sa_handler = onTerminalSignal;
        action.sa_flags = SA_RESTART;
        for (size_t at = 0; at < std::size(watchedSignals); ++at)
            sigaction(watchedSignals[at], &action, &actionsBefore_[at]);
    }
    ~TerminalKeyReader() override {
        for (size_t at = 0; at < std::size(watchedSignals); ++at)
            sigaction(watchedSignals[at], &actionsBefore_[at], nullptr);
        if (isInForeground())
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
        signalPipe = -1;
        close(pipe_[0]);
        close(pipe_[1]);
        close(cancelled_);
    }

    Result read(std::chrono::milliseconds timeout, char32_t& key) override {
        using Clock = std::chrono::steady_clock;
        const bool forever = timeout.count() < 0;
        const auto longest = std::chrono::hours(24);
        const auto began = Clock::now();
        for (;;) {
            if (!typed_.empty()) {
                key = takeKey();
                return Result::key;
            }
            const auto left =
                timeout - std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began);
            if (!forever && left.count() < 0)
                return Result::timedOut;
            const auto slice = std::min<std::chrono::milliseconds>(left, longest);
            // In the background the keys are another's.
            pollfd waits[] = {{cancelled_, POLLIN, 0},
                              {pipe_[0], POLLIN, 0},
                              {isInForeground() ? STDIN_FILENO : -1, POLLIN, 0}};
            const int ready = poll(waits, 3, forever ? -1 : static_cast<int>(slice.count()));
            if (ready < 0 && errno != EINTR)
                return Result::ended;
            if (ready <= 0) {
                if (!forever && left.count() == 0)
                    return Result::timedOut;
                continue;
            }
            if (waits[0].revents != 0)
                return Result::cancelled;
            if (waits[1].revents != 0) {
                const Result result = takeSignals();
                if (result == Result::key)
                    continue;
                return result;
            }
            if (!takeBytes())
                return Result::ended;
        }
    }

    void suspend() override {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
        raise(SIGSTOP);
    }
    void cancel() override { eventfd_write(cancelled_, 1); }

private:
    // key: nothing that matters now.
    Result takeSignals() {
        char what[64];
        const ssize_t count = ::read(pipe_[0], what, sizeof what);
        if (count > 0 && std::find(what, what + count, 's') != what + count)
            return Result::suspending;
        if (!isInForeground())
            return Result::key;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw_);
        return Result::changed;
    }

    bool takeBytes() {
        char bytes[256];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0)
            return count < 0 && errno == EINTR;
        typed_.append(bytes, static_cast<size_t>(count));
        // A key that sends several bytes may be cut after the first.
        pollfd more{STDIN_FILENO, POLLIN, 0};
        if (typed_ == "\x1B" && poll(&more, 1, escapeWait) > 0)
            return takeBytes();
        return true;
    }

    char32_t takeKey() {
        const auto take = [this](size_t count) { typed_.erase(0, count); };
        const auto first = static_cast<unsigned char>(typed_[0]);
        if (first == 0x1B && typed_.size() > 1 && typed_[1] != 0x1B) {
            if (typed_[1] != '[' && typed_[1] != 'O') {
                take(2);
                return 0;
            }
            size_t end = 2;
            while (end < typed_.size() && (typed_[end] < 0x40 || typed_[end] > 0x7E))
                ++end;
            const std::string sequence = typed_.substr(2, end - 1);
            take(end + 1);
            return keyOf(sequence);
        }
        if (first < 0x80) {
            take(1);
            return first == '\r' ? U'\n' : first;
        }
        const size_t length = std::min<size_t>(first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2, typed_.size());
        const std::u16string text = Ferrow::toUtf16(typed_.substr(0, length));
        take(length);
        return text.size() == 1 ? text[0] : 0;
    }

    static char32_t keyOf(const std::string& sequence) {
        constexpr std::pair<std::string_view, char32_t> known[] = {
            {"A", Keys::up},        {"B", Keys::down}, {"5~", Keys::pageUp},
            {"6~", Keys::pageDown}, {"H", Keys::home}, {"F", Keys::end},
            {"1~", Keys::home},     {"4~", Keys::end}, {"Z", Keys::backTab}};
        for (const auto& [text, key] : known) {
            if (sequence == text)
                return key;
        }
        return 0;
    }

    static constexpr int escapeWait = 25;  // milliseconds

    const termios before_, raw_;
    const int cancelled_;
    const int pipe_[2];
    struct sigaction actionsBefore_[std::size(watchedSignals)]{};
    std::string typed_;
};

}  // namespace

std::vector<std::u16string> programArguments(int argc, char** argv) {
    std::vector<std::u16string> arguments;
    for (int at = 1; at < argc; ++at)
        arguments.push_back(Ferrow::toUtf16(argv[at]));
    return arguments;
}

void prepareConsoleOutput() {}

bool terminalIsInteractive() {
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && isInForeground();
}

bool outputIsTerminal() {
    return isatty(STDOUT_FILENO) != 0;
}
bool errorsAreTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

bool terminalTakesEscapes() {
    const char* kind = std::getenv("TERM");
    return outputIsTerminal() && kind && *kind && std::string_view(kind) != "dumb";
}

TerminalSize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {};
    return {size.ws_col, size.ws_row};
}

std::unique_ptr<KeyReader> KeyReader::create() {
    termios before{};
    if (tcgetattr(STDIN_FILENO, &before) != 0)
        return nullptr;
    const int cancelled = eventfd(0, EFD_CLOEXEC);
    int ends[2] = {-1, -1};
    if (cancelled < 0 || pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        if (cancelled >= 0)
            close(cancelled);
        return nullptr;
    }
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) != 0) {
        for (const int number : {cancelled, ends[0], ends[1]})
            close(number);
        return nullptr;
    }
    return std::make_unique<TerminalKeyReader>(before, raw, cancelled, ends);
}

}  // namespace Platform
