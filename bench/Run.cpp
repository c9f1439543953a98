#include "bench/Run.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace Bench {

int run(int argc, char** argv, const std::function<void()>& body) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    try {
        body();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}

size_t longestQueue() {
    const char* const value = std::getenv("BENCH_LONGEST");
    return value ? std::strtoul(value, nullptr, 10) : 100000;
}

}  // namespace Bench
