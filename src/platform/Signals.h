// Requests from outside to end the process: SIGINT, SIGTERM and the closing of the terminal (SIGHUP, unless
// it is ignored), or Ctrl+C, Ctrl+Break and the closing of the console.
#pragma once

#include <functional>
#include <memory>

namespace Platform {

// From construction to destruction such a request calls the callback, once, on a thread of its own, instead
// of ending the process at once; a second one, unless it is the closing once more, ends it as usual. One per
// process at a time.
class Signals {
public:
    // Throws std::system_error when the system refuses it.
    explicit Signals(std::function<void()> callback);
    // Waits for a callback that is running.
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace Platform
