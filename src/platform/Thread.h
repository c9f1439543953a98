// A thread of the library's own. Always joined by its owner; there are no detached threads.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/StackList.h"

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

// The system's number for the calling thread; asking takes a system call.
uint32_t currentThreadId() noexcept;
// Tells the calling thread from every other that runs now; asking takes none. Never 0.
uintptr_t currentThread() noexcept;

// The threads inside a stretch of code, each listed once for each time it entered. Serves where thread_local
// would leave storage of an unloaded library behind on the host's threads, as it does on Windows. The owner
// guards it with a lock.
class ThreadList {
public:
    // Stands on the stack of its thread, from enter to leave.
    class Mark : public StackList<Mark>::Link {
        friend class ThreadList;
        const uintptr_t thread_ = currentThread();
    };
    void enter(Mark& mark) noexcept { marks_.add(mark); }
    void leave(Mark& mark) noexcept { marks_.remove(mark); }

    bool hasAny() const noexcept { return !marks_.empty(); }
    bool hasCurrent() const noexcept {
        return marks_.anyOf([self = currentThread()](const Mark& mark) { return mark.thread_ == self; });
    }
    bool hasOther() const noexcept {
        return marks_.anyOf([self = currentThread()](const Mark& mark) { return mark.thread_ != self; });
    }

private:
    StackList<Mark> marks_;
};

}  // namespace Platform
