#include "platform/Signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <system_error>
#include <unistd.h>

#include "platform/Thread.h"

namespace Platform {
namespace {

constexpr int endSignals[] = {SIGINT, SIGTERM};
constexpr char asked = 'e', over = 'o';

// What the handler may touch.
std::atomic<int> handlerPipe{-1};

void onSignal(int) {
    const int error = errno;
    if (write(handlerPipe.load(), &asked, 1) < 0) {
        // A full pipe holds a request already.
    }
    errno = error;
}

}  // namespace

struct Signals::State {
    explicit State(std::function<void()> handler) : callback(std::move(handler)) {
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::system_error(errno, std::generic_category(), "no pipe for signals");
        fcntl(ends[0], F_SETFL, 0);
        handlerPipe = ends[1];
        struct sigaction action {};
        action.sa_handler = onSignal;
        // Reset: a user who asks twice wants the process gone.
        action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        for (size_t at = 0; at < std::size(endSignals); ++at) {
            sigaction(endSignals[at], nullptr, &before[at]);
            // Also where the parent ignores it, as a script does for its background jobs: there it is meant.
            sigaction(endSignals[at], &action, nullptr);
        }
        watcher = Thread([this] { watch(); });
    }

    ~State() {
        for (size_t at = 0; at < std::size(endSignals); ++at)
            sigaction(endSignals[at], &before[at], nullptr);
        if (write(ends[1], &over, 1) < 0) {
            // Full of requests: the watcher is awake anyway, and ends at the end of the pipe.
        }
        handlerPipe = -1;
        close(ends[1]);
        watcher.join();
        close(ends[0]);
    }

    void watch() {
        char what = 0;
        bool called = false;
        while (read(ends[0], &what, 1) == 1 && what != over) {
            if (!called)
                callback();
            called = true;
        }
    }

    const std::function<void()> callback;
    int ends[2] = {-1, -1};
    struct sigaction before[std::size(endSignals)]{};
    Thread watcher;
};

Signals::Signals(std::function<void()> callback) : state_(std::make_unique<State>(std::move(callback))) {}

Signals::~Signals() = default;

}  // namespace Platform
