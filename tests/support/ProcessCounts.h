// What a process holds: for tests that leave nothing behind.
#pragma once

#include <cstddef>
#include <ostream>

namespace Support {

struct ProcessCounts {
    size_t threads = 0;
    size_t handles = 0;  // file descriptors, or handles
    size_t memory = 0;   // bytes in use on the heap; 0 where it cannot be told

    static ProcessCounts now();
    // Whether no more threads and handles are held than then, and hardly more memory; waits a while for a
    // bus's own threads, which may come and go.
    static bool comesDownTo(const ProcessCounts& then);
};

std::ostream& operator<<(std::ostream& out, const ProcessCounts& counts);

}  // namespace Support
