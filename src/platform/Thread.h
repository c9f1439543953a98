// A thread of the library's own. Always joined by its owner; there are no detached threads.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

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

}  // namespace Platform
