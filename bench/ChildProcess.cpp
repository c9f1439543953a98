#include "bench/ChildProcess.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Bench {

ChildProcess::ChildProcess(const std::function<void(int)>& body) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0 || (process_ = fork()) < 0)
        throw std::runtime_error("no process to be had");
    if (process_ == 0) {
        int status = 0;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        try {
            body(ends[1]);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "in a process of its own: %s\n", error.what());
            status = 1;
        }
        _exit(status);
    }
    close(ends[1]);
    connection_ = ends[0];
}

ChildProcess::~ChildProcess() {
    if (process_ > 0)
        kill(process_, SIGKILL);
    wait();
}

void ChildProcess::wait() {
    if (const pid_t process = std::exchange(process_, 0)) {
        waitpid(process, nullptr, 0);
        close(connection_);
    }
}

void sendRecord(int connection, const void* record, size_t size) {
    if (send(connection, record, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size))
        throw std::runtime_error("the other process is gone");
}

void receiveRecord(int connection, void* record, size_t size) {
    if (recv(connection, record, size, 0) != static_cast<ssize_t>(size))
        throw std::runtime_error("the other process is gone");
}

}  // namespace Bench
