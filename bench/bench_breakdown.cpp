// Where the time of accepting one alert goes, from times that host, plugin and product take themselves: the
// stages follow one another and add up to the whole.
#include <algorithm>
#include <array>
#include <list>
#include <numeric>
#include <vector>

#include "bench/BenchHost.h"
#include "bench/Floors.h"
#include "bench/Product.h"

namespace Bench {
namespace {

// The embedded bus as a host would hand it over, with a note of when the module is entered and when it
// publishes.
class WatchedBus {
public:
    WatchedBus() {
        real().acquireHandle(&handle);
        functions.publish = [](BrevantBusHandle on, const MessageHeader* header, const char16_t* name,
                               const char16_t* sender, const char16_t* payload) {
            published = Clock::now();
            return real().publish(on, header, name, sender, payload);
        };
        functions.subscribePattern = [](BrevantBusHandle on, void* context, BrevantMessageFunction function,
                                        const char16_t* pattern) {
            return real().subscribePattern(on, &receivers.emplace_back(context, function), &onMessage,
                                           pattern);
        };
    }
    ~WatchedBus() { real().releaseHandle(handle); }
    WatchedBus(const WatchedBus&) = delete;
    WatchedBus& operator=(const WatchedBus&) = delete;

    BrevantBusHandle handle = nullptr;
    BrevantBusFunctions functions = real();
    static inline Clock::time_point entered, published;

private:
    struct Receiver {
        Receiver(void* its, BrevantMessageFunction toCall) : context(its), function(toCall) {}
        void* context;
        BrevantMessageFunction function;
    };
    static inline std::list<Receiver> receivers;

    static const BrevantBusFunctions& real() { return *Support::embeddedBus(); }
    static uint32_t onMessage(void* self, const MessageHeader* header, const char16_t* name,
                              const char16_t* sender, const char16_t* payload) {
        entered = Clock::now();
        const auto& receiver = *static_cast<const Receiver*>(self);
        return receiver.function(receiver.context, header, name, sender, payload);
    }
};

constexpr const char* stages[] = {"1 bus hands over the request", "2 until the plugin is asked",
                                  "3 plugin copies the text",     "4 until the answer is published",
                                  "5 bus hands over the answer",  "6 product's thread wakes"};
using Times = std::array<double, std::size(stages)>;

double sum(const Times& times) {
    return std::accumulate(times.begin(), times.end(), 0.0);
}

// One alert after the other, each with the times of its stages.
std::vector<Times> acceptWatched(Module& module, const Clock::time_point* pluginStamps, uint32_t count) {
    std::vector<Times> all;
    const uint64_t first = module.takeNumbers(count);
    Product product;
    product.prepare(first, count, waitingSession);
    for (uint32_t i = 0; i < count; ++i) {
        const auto began = Clock::now();
        product.accept(1);
        const auto ended = Clock::now();
        const Clock::time_point points[] = {began,
                                            WatchedBus::entered,
                                            pluginStamps[0],
                                            pluginStamps[1],
                                            WatchedBus::published,
                                            product.answeredAt(),
                                            ended};
        Times& times = all.emplace_back();
        for (size_t stage = 0; stage < times.size(); ++stage)
            times[stage] = secondsBetween(points[stage], points[stage + 1]);
    }
    product.forget();
    module.remove(first, count);
    return all;
}

// The mean of the middle half, by the whole time: the machine's own disturbances stay out.
Times typical(std::vector<Times> all) {
    std::ranges::sort(all, {}, sum);
    Times mean{};
    const size_t from = all.size() / 4, to = all.size() - from;
    for (size_t i = from; i < to; ++i) {
        for (size_t stage = 0; stage < mean.size(); ++stage)
            mean[stage] += all[i][stage] / static_cast<double>(to - from);
    }
    return mean;
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        registerHandOver();
        registerRapidJson(description(1, waitingSession));
        const Surroundings surroundings;
        const WatchedBus bus;
        Module module(bus.handle, &bus.functions);
        module.fill(10);
        const Support::LoadedLibrary plugin(beside(u"BenchPlugin.dll"));
        const auto stamps = plugin.function<const Clock::time_point* (*)()>("benchPluginStamps")();
        const auto accept = [&](benchmark::State& state) {
            std::vector<Times> all;
            for ([[maybe_unused]] auto each : state) {
                const auto batch = acceptWatched(module, stamps, 10);
                all.insert(all.end(), batch.begin(), batch.end());
            }
            const Times times = typical(std::move(all));
            for (size_t stage = 0; stage < times.size(); ++stage)
                state.counters[stages[stage]] = times[stage];
        };
        benchmark::RegisterBenchmark("accept", accept)->UseRealTime()->Iterations(50);
        benchmark::RunSpecifiedBenchmarks();
    });
}
