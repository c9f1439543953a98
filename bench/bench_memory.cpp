// What a waiting alert keeps in memory, beyond the description that its product sent.
#include <malloc.h>

#include "bench/BenchHost.h"

namespace Bench {
namespace {

// Of all threads and libraries, from the one heap that they share.
size_t bytesInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

void waitingAlert(benchmark::State& state, size_t contents) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(longestQueue(), 10000));
    const Surroundings surroundings;
    Module module;
    module.fill(count / 10, contents);  // what the first alerts bring about stays out of account
    const size_t before = bytesInUse();
    for ([[maybe_unused]] auto each : state)
        module.fill(count, contents);
    const double each = static_cast<double>(bytesInUse() - before) / count;
    const size_t text = sizeof(char16_t) * description(count, waitingSession, contents).size();
    state.counters["bytes"] = each;
    state.counters["beyond"] = each - static_cast<double>(text);
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        benchmark::RegisterBenchmark("usual texts", waitingAlert, usualContents)->Iterations(1);
        benchmark::RegisterBenchmark("small texts", waitingAlert, 20)->Iterations(1);
        benchmark::RunSpecifiedBenchmarks();
    });
}
