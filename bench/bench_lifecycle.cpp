// A module's way from loading its library to unloading it, and its end with alerts waiting.
#include "bench/BenchHost.h"

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        const Surroundings surroundings;
        const auto wholeLife = [](benchmark::State& state) {
            for ([[maybe_unused]] auto each : state)
                const Module module;
        };
        const auto destroy = [](benchmark::State& state) {
            for ([[maybe_unused]] auto each : state) {
                Module module;
                module.fill(static_cast<uint32_t>(longestQueue()));
                state.SetIterationTime(module.destroy());
            }
        };
        benchmark::RegisterBenchmark("module", wholeLife)->UseRealTime();
        benchmark::RegisterBenchmark("destroy", destroy)->UseManualTime()->Iterations(1);
        benchmark::RunSpecifiedBenchmarks();
    });
}
