// What the broker's figures stand on: no way of accepting an alert can cost less.
#include <benchmark/benchmark.h>
#include <condition_variable>
#include <mutex>
#include <rapidjson/document.h>
#include <rapidjson/writer.h>
#include <thread>

#include "bench/BenchHost.h"

namespace Bench {
namespace {

// A hand-over to another thread and back, by mutex and condition variable.
void floorHandOver(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable changed;
    int turn = 0;  // 0: ours, 1: the other thread's, 2: end
    std::thread other([&] {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return turn != 0; });
            if (turn == 2)
                return;
            turn = 0;
            changed.notify_all();
        }
    });
    for (auto unused : state) {
        (void)unused;
        std::unique_lock lock(mutex);
        turn = 1;
        changed.notify_all();
        changed.wait(lock, [&] { return turn == 0; });
    }
    {
        std::lock_guard lock(mutex);
        turn = 2;
    }
    changed.notify_all();
    other.join();
}
BENCHMARK(floorHandOver)->UseRealTime()->Unit(benchmark::kMicrosecond);

// One parse and one write of the same description, with the library alone.
void floorJson(benchmark::State& state) {
    using Encoding = rapidjson::UTF16<char16_t>;
    const std::u16string text = description(1, 2);
    for (auto unused : state) {
        (void)unused;
        rapidjson::GenericDocument<Encoding> document;
        document.Parse(text.c_str());
        rapidjson::GenericStringBuffer<Encoding> buffer;
        rapidjson::Writer<rapidjson::GenericStringBuffer<Encoding>, Encoding, Encoding> writer(buffer);
        document.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
    state.counters["characters"] = static_cast<double>(text.size());
}
BENCHMARK(floorJson)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace Bench
