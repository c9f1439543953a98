// What one alert costs once its turn has come: outcome of the one before, content, show request, its answer,
// outcome.
#include "bench/BenchHost.h"
#include "bench/Floors.h"
#include "text/Utf.h"

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        registerHandOver();
        registerRapidJson(description(1, showingSession));
        const Surroundings surroundings;
        Viewer viewer;
        Module module;
        const auto cycle = [&](benchmark::State& state) {
            constexpr uint32_t batch = 200;
            for ([[maybe_unused]] auto each : state) {
                // All wait behind one that stays on screen.
                viewer.holdNext();
                const uint64_t first = module.takeNumbers(batch + 1);
                for (uint64_t number = first; number <= first + batch; ++number)
                    module.direct(u"Brevant.Alert.Show." + Ferrow::decimal(number),
                                  description(number, showingSession));
                viewer.waitForHeld();
                state.SetIterationTime(viewer.dismissHeldAndFollow(batch) / batch);
            }
        };
        benchmark::RegisterBenchmark("cycle", cycle)->UseManualTime()->Iterations(3);
        benchmark::RunSpecifiedBenchmarks();
    });
}
