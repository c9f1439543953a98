// A desktop notification daemon on a bus of its own, to be compared with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/peers/DBusClient.h"

namespace Bench {

class Dunst {
public:
    // The address of the bus whose daemon lets so many requests wait: the socket of that name in the folder
    // that the environment's BENCH_DUNST names. Empty when there is none.
    static std::string address(size_t waiting);

    // Has the daemon show nothing, and lets so many requests wait.
    Dunst(size_t waiting, const std::string& address);

    // The seconds from the first request until the last answer, with so many of them on their way at once and
    // so many times as many in all. They are withdrawn again.
    double accept(uint32_t atOnce, uint32_t times);

private:
    DBusMessagePointer newRequest();
    // Their numbers.
    std::vector<uint32_t> ask(size_t atOnce, size_t count);

    DBusClient client_;
    uint64_t last_ = 0;
};

}  // namespace Bench
