// The program as a process, on a terminal of its own.
#pragma once

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/Files.h"
#include "platform/Process.h"
#include "support/Monitor.h"

namespace Host {

class TerminalProcess {
public:
    explicit TerminalProcess(std::vector<std::string> arguments) {
        const std::u16string test = Platform::executablePath();
        arguments.insert(arguments.begin(),
                         Platform::nativePath(test.substr(0, test.rfind(u'\\') + 1) + u"brevant"));
        // Nothing is allocated between fork and exec: another thread may hold the lock for that.
        std::vector<char*> words;
        for (std::string& argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        setenv("TERM", "xterm", 1);
        winsize size{};
        size.ws_row = 24;
        size.ws_col = 80;
        process_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (process_ == 0) {
            execv(words[0], words.data());
            _exit(127);
        }
    }
    ~TerminalProcess() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        close(terminal_);
    }

    // Reads until the text has come, since the last one that was waited for.
    bool shows(std::string_view text) {
        for (;;) {
            if (const size_t found = seen.find(text, from_); found != std::string::npos) {
                from_ = found + text.size();
                return true;
            }
            pollfd wait{terminal_, POLLIN, 0};
            char bytes[4096];
            if (poll(&wait, 1, 20000) <= 0)
                return false;
            const ssize_t count = read(terminal_, bytes, sizeof bytes);
            if (count <= 0)
                return false;
            seen.append(bytes, static_cast<size_t>(count));
        }
    }
    void type(std::string_view keys) const {
        EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void resize(unsigned short rows, unsigned short columns) const {
        winsize size{};
        size.ws_row = rows;
        size.ws_col = columns;
        ioctl(terminal_, TIOCSWINSZ, &size);
    }
    void signal(int number) const { kill(process_, number); }
    bool stops() { return changesState(WUNTRACED) && WIFSTOPPED(status_); }
    // The exit code, or the signal below zero; -1000 when it does not end.
    int end() {
        while (shows("\xFF")) {
        }
        if (!changesState(0))
            return -1000;
        process_ = 0;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
    }

    std::string seen;

private:
    bool changesState(int options) {
        return Support::eventually(
            [&] { return waitpid(process_, &status_, options | WNOHANG) == process_; });
    }

    int status_ = 0;
    pid_t process_ = 0;
    int terminal_ = -1;
    size_t from_ = 0;
};

}  // namespace Host
