// A thread of the library's own. Always joined by its owner; there are no detached threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace Platform {

class Thread {
public:
    Thread() noexcept;
    // Starts at once. Throws std::system_error when the system gives no thread.
    explicit Thread(std::function<void()> body);
    // An owner joins before it lets go; a thread still running here ends the process, as with std::thread.
    ~Thread();
    Thread(Thread&&) noexcept;
    Thread& operator=(Thread&&) noexcept;

    bool joinable() const noexcept;
    // Throws std::system_error (resource deadlock would occur) on the thread itself.
    void join();

private:
    struct State;
    std::unique_ptr<State> state_;
};

// The system's number for the calling thread.
uint32_t currentThreadId() noexcept;

// The threads inside a stretch of code, each listed once for each time it entered. Serves where thread_local
// would leave storage of an unloaded library behind on the host's threads, as it does on Windows. The owner
// guards it with a lock.
class ThreadList {
public:
    void enter() { threads_.push_back(currentThreadId()); }
    void leave() noexcept { threads_.erase(std::ranges::find(threads_, currentThreadId())); }

    bool hasAny() const noexcept { return !threads_.empty(); }
    bool hasCurrent() const noexcept {
        return std::ranges::find(threads_, currentThreadId()) != threads_.end();
    }
    bool hasOther() const noexcept {
        return std::ranges::any_of(threads_, [self = currentThreadId()](auto one) { return one != self; });
    }

private:
    std::vector<uint32_t> threads_;
};

}  // namespace Platform
