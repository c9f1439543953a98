// A stream connection to a server on this machine.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Clock.h"

namespace Platform {

// Nothing blocks but connect and wait, which belong to one thread with receive and close. What is small
// leaves at once: the connection gathers nothing. The processes that this one starts do not inherit it.
//
//            | closed                 | open
//   connect  | open, or false         | not allowed
//   send     | closed                 | sends
//   receive  | closed                 | receives
//   wait     | till time or wake      | till ready, time or wake
//   wake     | ends a wait            | ends a wait
//   close    | nothing                | closed
class Socket {
public:
    enum class Result { done, wouldBlock, closed };
    struct Transfer {
        Result result;
        size_t count = 0;  // bytes, when it is done
    };
    struct Ready {
        bool readable = false;  // also when the other side has gone
        bool writable = false;
        bool woken = false;
    };

    // Throws std::system_error when the system has no handle left.
    Socket();
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // The address is a number of either version ("127.0.0.1", "::1"). False when nobody listens there or the
    // time has passed.
    bool connect(const std::string& address, uint16_t port, std::chrono::nanoseconds timeout);
    // One thread at a time, which may be another than the one that waits; not while close runs.
    Transfer send(std::string_view bytes) noexcept;
    Transfer receive(char* buffer, size_t size) noexcept;
    // Until the steady clock reaches the deadline.
    Ready wait(bool wantsWritable, Clock::Time deadline) noexcept;
    // Any thread. Ends the wait that runs, or the next one.
    void wake() noexcept;
    void close() noexcept;

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace Platform
