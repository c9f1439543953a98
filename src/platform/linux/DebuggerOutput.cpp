#include "platform/DebuggerOutput.h"

#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include "text/Utf.h"

namespace Platform {

void writeToDebugger(const std::u16string& text) {
    // Nobody waits for who does not read, and a pipe that nobody reads any more would end the process.
    pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
    if (poll(&descriptor, 1, 0) != 1 || descriptor.revents != POLLOUT)
        return;
    const std::string bytes = Ferrow::toUtf8(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

}  // namespace Platform
