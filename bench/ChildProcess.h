// A process forked off to play a part of its own.
#pragma once

#include <functional>
#include <sys/types.h>

namespace Bench {

// To be made while the process has no other thread.
class ChildProcess {
public:
    // The child runs the body, whose argument is its end of a connection to the parent, and ends.
    explicit ChildProcess(const std::function<void(int connection)>& body);
    // Ends it, unless it has been waited for.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    int connection() const { return connection_; }
    void wait();

private:
    pid_t process_ = 0;
    int connection_ = -1;
};

// Whole records over a connection. Both throw when the other side is gone.
void sendRecord(int connection, const void* record, size_t size);
void receiveRecord(int connection, void* record, size_t size);

}  // namespace Bench
