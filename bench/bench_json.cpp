// Reading and writing a description, beside what RapidJSON alone takes for the same text.
#include "alerts/description/AlertContext.h"
#include "alerts/description/AlertInfo.h"
#include "bench/BenchHost.h"
#include "bench/Floors.h"

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        const std::u16string text = description(1, waitingSession);
        registerRapidJson(text);
        benchmark::RegisterBenchmark("description", [&](benchmark::State& state) {
            for ([[maybe_unused]] auto each : state) {
                Vok::AlertInfo info;
                if (!info.fromJson(text))
                    state.SkipWithError("the description is refused");
                benchmark::DoNotOptimize(info.toJson());
            }
        });
        benchmark::RegisterBenchmark("context", [&](benchmark::State& state) {
            Vok::AlertInfo info;
            info.fromJson(text);
            for ([[maybe_unused]] auto each : state) {
                Vok::AlertContext context;
                if (!context.fromJson(info.context))
                    state.SkipWithError("the context is refused");
            }
        });
        benchmark::RunSpecifiedBenchmarks();
    });
}
