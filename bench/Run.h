// What the benchmark programs share: their main function and their clock.
#pragma once

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <functional>

namespace Bench {

using Clock = std::chrono::steady_clock;

inline double secondsBetween(Clock::time_point began, Clock::time_point ended) {
    return std::chrono::duration<double>(ended - began).count();
}
inline double secondsSince(Clock::time_point began) {
    return secondsBetween(began, Clock::now());
}

// The body registers benchmarks over objects of its own and calls benchmark::RunSpecifiedBenchmarks. Exit
// code 1 when something throws.
int run(int argc, char** argv, const std::function<void()>& body);

// The environment's BENCH_LONGEST bounds how many alerts are let wait, for a run that only shows that all
// works.
size_t longestQueue();

}  // namespace Bench
