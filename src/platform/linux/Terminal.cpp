#include "platform/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "text/Utf.h"

namespace Platform {
namespace {

class TerminalKeyReader final : public KeyReader {
public:
    TerminalKeyReader(const termios& before, int cancelled) : before_(before), cancelled_(cancelled) {}
    ~TerminalKeyReader() override {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
        close(cancelled_);
    }

    Result read(std::chrono::milliseconds timeout, char32_t& key) override {
        using Clock = std::chrono::steady_clock;
        const bool forever = timeout.count() < 0;
        const auto longest = std::chrono::hours(24);
        const auto began = Clock::now();
        for (;;) {
            const auto left =
                timeout - std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began);
            if (!forever && left.count() < 0)
                return Result::timedOut;
            const auto slice = std::min<std::chrono::milliseconds>(left, longest);
            pollfd waits[] = {{cancelled_, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
            const int ready = poll(waits, 2, forever ? -1 : static_cast<int>(slice.count()));
            if (ready < 0 && errno != EINTR)
                return Result::ended;
            if (ready <= 0) {
                if (!forever && left.count() == 0)
                    return Result::timedOut;
                continue;
            }
            if (waits[0].revents != 0)
                return Result::cancelled;
            return take(key);
        }
    }

    void cancel() override { eventfd_write(cancelled_, 1); }

private:
    static Result take(char32_t& key) {
        // One key may send several bytes: they arrive together.
        char bytes[64];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0)
            return Result::ended;
        const std::u16string text = Ferrow::toUtf16({bytes, static_cast<size_t>(count)});
        key = bytes[0] == '\x1B' && count > 1 ? 0 : text[0];
        return Result::key;
    }

    const termios before_;
    const int cancelled_;
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
    // A background process is stopped when it touches the terminal's settings.
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && tcgetpgrp(STDIN_FILENO) == getpgrp();
}

unsigned terminalColumns() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::unique_ptr<KeyReader> KeyReader::create() {
    termios before{};
    if (tcgetattr(STDIN_FILENO, &before) != 0)
        return nullptr;
    const int cancelled = eventfd(0, EFD_CLOEXEC);
    if (cancelled < 0)
        return nullptr;
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) != 0) {
        close(cancelled);
        return nullptr;
    }
    return std::make_unique<TerminalKeyReader>(before, cancelled);
}

}  // namespace Platform
