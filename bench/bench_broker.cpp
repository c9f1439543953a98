// What an alert costs: accepted beside a queue of any length, and shown, dismissed and followed by the next.
#include <benchmark/benchmark.h>
#include <chrono>
#include <memory>
#include <vector>

#include "bench/BenchHost.h"

namespace Bench {
namespace {

std::unique_ptr<BenchHost> host;

// Alerts of session 2, which is never active: they wait.
class Waiting {
public:
    void growTo(size_t count) {
        while (numbers_.size() < count) {
            const uint64_t number = host->nextInstance();
            host->accept(number, description(number, 2));
            numbers_.push_back(number);
        }
    }

private:
    std::vector<uint64_t> numbers_;
};
Waiting waiting;

// From the publishing of a show request until its ".Queued." answer has come.
void accept(benchmark::State& state) {
    waiting.growTo(static_cast<size_t>(state.range(0)));
    for (auto unused : state) {
        (void)unused;
        const uint64_t number = host->nextInstance();
        const std::u16string payload = description(number, 2);
        const auto began = std::chrono::steady_clock::now();
        host->accept(number, payload);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
        host->remove(number);
    }
}
BENCHMARK(accept)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Iterations(5000)->Unit(
    benchmark::kMicrosecond);

// Show request, its answer, the outcome, the next show request: per alert, over a queue that is full.
void cycle(benchmark::State& state) {
    constexpr uint64_t batch = 200;
    uint64_t alerts = 0;
    for (auto unused : state) {
        (void)unused;
        const uint64_t before = host->shown();
        for (uint64_t i = 0; i < batch; ++i) {
            const uint64_t number = host->nextInstance();
            host->publishShow(number, description(number, 1));
        }
        host->waitForShown(before + 1);
        const uint64_t already = host->shown();
        const auto began = std::chrono::steady_clock::now();
        host->waitForShown(before + batch);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        const uint64_t timed = before + batch - already;
        state.SetIterationTime(timed ? took.count() / static_cast<double>(timed) : 0);
        alerts += timed;
    }
    state.counters["alerts"] = static_cast<double>(alerts);
}
BENCHMARK(cycle)->UseManualTime()->Iterations(10)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Bench::host = std::make_unique<Bench::BenchHost>();
    benchmark::RunSpecifiedBenchmarks();
    Bench::host.reset();
    return 0;
}
