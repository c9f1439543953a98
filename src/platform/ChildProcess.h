// A program that runs for this process and ends with it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

// The child has no input; what it prints is dropped. It inherits nothing else that is open here. When this
// process ends, however it ends, the system ends the child. Any thread, one at a time.
class ChildProcess {
public:
    // Starts the program, given by its full path. Throws std::system_error when it cannot be started; on
    // Linux from a thread that outlives the child only, for the child ends with that thread.
    ChildProcess(const std::u16string& program, const std::vector<std::u16string>& arguments);
    // Ends a child that still runs at once.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    uint32_t id() const noexcept;
    // Asks it to end in its own way, where the system has a way to ask; ends it elsewhere.
    void askToEnd() noexcept;
    // Its exit code once it has ended (128 and the signal's number for one that a signal ended); nothing when
    // it has not within that time.
    std::optional<int> waitFor(std::chrono::milliseconds time);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// The full path of a program that is found as the system finds commands; empty when it is not.
std::u16string findProgram(const std::u16string& name);

}  // namespace Platform
