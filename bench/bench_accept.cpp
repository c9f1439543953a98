// What accepting an alert costs, from the publishing of a show request until its ".Queued." answer has come,
// beside queues of several lengths and beside a desktop notification daemon.
#include <map>

#include "bench/BenchHost.h"
#include "bench/BrokerProcess.h"
#include "bench/Floors.h"
#include "bench/peers/Dunst.h"

namespace Bench {
namespace {

// So many are accepted by each, each after the answer to the one before, then all are removed: queues hardly
// grow. Several at once do not start and end together, which shall not count.
constexpr uint32_t batchOf(uint32_t atOnce) {
    return atOnce > 1 ? 30 : 10;
}

// Side is a broker or a peer, made when its turn first comes.
template <class Side>
class Sides {
public:
    template <class... Arguments>
    void add(const std::string& name, size_t waiting, uint32_t atOnce, const Arguments&... arguments) {
        const auto accept = [=, this](benchmark::State& state) {
            auto& side = sides_[waiting];
            if (!side)
                side = std::make_unique<Side>(waiting, arguments...);
            for ([[maybe_unused]] auto each : state)
                state.SetIterationTime(side->accept(atOnce, batchOf(atOnce)) / (atOnce * batchOf(atOnce)));
        };
        benchmark::RegisterBenchmark(name.c_str(), accept)
            ->UseManualTime()
            ->Iterations(waiting > 1000 || atOnce > 1 ? 20 : 50);
    }

private:
    std::map<size_t, std::unique_ptr<Side>> sides_;
};

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    return Bench::run(argc, argv, [] {
        Bench::registerHandOver();
        Bench::registerRapidJson(Bench::description(1, Bench::waitingSession));
        Bench::Sides<Bench::BrokerProcess> brokers;
        Bench::Sides<Bench::Dunst> daemons;
        for (size_t waiting = 10; waiting <= Bench::longestQueue(); waiting *= 10) {
            const std::string length = std::to_string(waiting);
            brokers.add("accept/" + length, waiting, 1);
            if (const std::string address = Bench::Dunst::address(waiting); !address.empty())
                daemons.add("dunst/" + length, waiting, 1, address);
        }
        brokers.add("accept by 4", 10, 4);
        if (const std::string address = Bench::Dunst::address(10); !address.empty())
            daemons.add("dunst by 4", 10, 4, address);
        benchmark::RunSpecifiedBenchmarks();
    });
}
