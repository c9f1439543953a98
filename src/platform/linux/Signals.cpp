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

constexpr int endSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr char asked = 'e';

// What the handler may touch.
std::atomic<int> handlerPipe{-1};
std::atomic<bool> alreadyAsked{false};

void onSignal(int number) {
    const int error = errno;
    // A user who asks twice, by whichever signals, wants the process gone: the system's own answer to this
    // one is back in force by now. A terminal that closes may tell so more than once.
    if (alreadyAsked.exchange(true)) {
        if (number != SIGHUP)
            raise(number);
    } else if (write(handlerPipe.load(), &asked, 1) < 0) {
        alreadyAsked = false;
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
        alreadyAsked = false;
        struct sigaction action {};
        action.sa_handler = onSignal;
        for (size_t at = 0; at < std::size(endSignals); ++at) {
            sigaction(endSignals[at], nullptr, &before[at]);
            // A script ignores the others for its background jobs, which are to end when asked all the same;
            // the closing of the terminal is ignored for those that are to go on.
            const bool hangUp = endSignals[at] == SIGHUP;
            action.sa_flags = SA_RESTART | (hangUp ? 0 : static_cast<int>(SA_RESETHAND));
            if (!hangUp || before[at].sa_handler != SIG_IGN)
                sigaction(endSignals[at], &action, nullptr);
        }
        watcher = Thread([this] { watch(); });
    }

    ~State() {
        for (size_t at = 0; at < std::size(endSignals); ++at)
            sigaction(endSignals[at], &before[at], nullptr);
        handlerPipe = -1;
        close(ends[1]);  // which ends the watcher
        watcher.join();
        close(ends[0]);
    }

    void watch() {
        char what = 0;
        ssize_t count = 0;
        do {
            count = read(ends[0], &what, 1);
        } while (count < 0 && errno == EINTR);
        if (count == 1)
            callback();
    }

    const std::function<void()> callback;
    int ends[2] = {-1, -1};
    struct sigaction before[std::size(endSignals)]{};
    Thread watcher;
};

Signals::Signals(std::function<void()> callback) : state_(std::make_unique<State>(std::move(callback))) {}

Signals::~Signals() = default;

}  // namespace Platform
