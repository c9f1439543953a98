// The broker, a viewer and products in processes of their own, over one server, beside a raw request and
// reply of two clients of it.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <thread>
#include <unordered_map>

#include "bench/BenchHost.h"
#include "bench/ChildProcess.h"
#include "bench/Product.h"
#include "bench/peers/NatsClient.h"
#include "text/Utf.h"

namespace Bench {
namespace {

using Support::BusMessage;
using Support::BusPeer;

constexpr uint32_t waitingAlerts = 10;
constexpr uint32_t acceptBatch = 30;
constexpr uint32_t cycleBatch = 200;
constexpr uint32_t productProcesses = 4;

std::u16string takeNumber(BusPeer& peer) {
    BusMessage id;
    if (peer.request(u"Brevant.Alert.GetId", u"", id) != MODULE_STATUS_SUCCESS)
        throw std::runtime_error("the broker gives no number");
    return id.payload;
}

// Calls are records that tell how much is to be done; answers are seconds.
double call(const ChildProcess& process, uint32_t count) {
    double seconds = 0;
    sendRecord(process.connection(), &count, sizeof count);
    receiveRecord(process.connection(), &seconds, sizeof seconds);
    return seconds;
}

void answer(int connection, double seconds = 0) {
    sendRecord(connection, &seconds, sizeof seconds);
}

uint32_t nextCall(int connection) {
    uint32_t count = 0;
    receiveRecord(connection, &count, sizeof count);
    return count;
}

// Lets so many alerts wait behind the one on screen.
void serveBroker(int connection) {
    const Surroundings surroundings;
    Module module;
    module.fill(waitingAlerts);
    for (answer(connection);; answer(connection)) {
        const uint32_t count = nextCall(connection);
        const uint64_t first = module.takeNumbers(count);
        for (uint64_t number = first; number < first + count; ++number)
            module.direct(u"Brevant.Alert.Show." + Ferrow::decimal(number),
                          description(number, showingSession));
    }
}

// Holds the next alert; with a second call dismisses it and so many that follow.
void serveViewer(int connection) {
    Viewer viewer;
    for (answer(connection);;) {
        nextCall(connection);
        viewer.holdNext();
        answer(connection);
        const uint32_t count = nextCall(connection);
        viewer.waitForHeld();
        answer(connection, viewer.dismissHeldAndFollow(count));
    }
}

// Publishes so many alerts as fast as the bus takes them, and keeps the books of what comes back: one answer
// and one fate for each, or the process fails.
void serveProduct(int connection, uint32_t number) {
    const std::u16string id = u"P" + Ferrow::decimal(number);
    struct Entry {
        uint32_t queued = 0, dismissed = 0;
    };
    struct Books : Support::Monitor {
        std::unordered_map<std::u16string, Entry> entries;
        uint32_t fates = 0;
    } books;
    BusPeer peer, listener;
    listener.onPattern(u"Brevant\\.Alert\\." + id + u"\\..+", [&](const BusMessage& message) {
        const size_t dot = message.name.rfind(u'.');
        const std::u16string instance = message.name.substr(dot + 1);
        const std::u16string_view before = std::u16string_view(message.name).substr(0, dot);
        books.locked([&] {
            Entry& entry = books.entries[instance];
            entry.queued += before.ends_with(u".Queued");
            if (before.ends_with(u".Dismissed")) {
                ++entry.dismissed;
                ++books.fates;
            }
        });
        return MODULE_STATUS_SUCCESS;
    });
    for (answer(connection);;) {
        const uint32_t count = nextCall(connection);
        books.locked([&] {
            books.entries.clear();
            books.fates = 0;
        });
        const auto began = Clock::now();
        for (uint32_t i = 0; i < count; ++i) {
            const std::u16string instance = takeNumber(peer);
            std::u16string text =
                description(std::strtoull(Ferrow::toUtf8(instance).c_str(), nullptr, 10), showingSession);
            text.replace(7, instance.size(), id);
            while (peer.publish(u"Brevant.Alert.Show." + instance, text) != MODULE_STATUS_SUCCESS)
                std::this_thread::yield();
        }
        books.await([&] { return books.fates >= count; });
        const double took = secondsSince(began);
        books.locked([&] {
            const bool balanced =
                books.entries.size() == count && std::ranges::all_of(books.entries, [](const auto& entry) {
                    return entry.second.queued == 1 && entry.second.dismissed == 1;
                });
            if (!balanced)
                throw std::runtime_error("an alert has not had one answer and one fate");
        });
        answer(connection, took);
    }
}

void waitForAnswer(const ChildProcess& process) {
    double ready;
    receiveRecord(process.connection(), &ready, sizeof ready);
}

void raw(benchmark::State& state, NatsClient& client, const std::string& payload) {
    for ([[maybe_unused]] auto each : state) {
        client.publish(natsEchoSubject, "bench.reply", payload);
        client.receive();
    }
}

// Each after the answer to the one before.
void accept(benchmark::State& state, BusPeer& peer) {
    Signal deleted;
    for ([[maybe_unused]] auto each : state) {
        const uint64_t first = std::strtoull(Ferrow::toUtf8(takeNumber(peer)).c_str(), nullptr, 10);
        for (uint32_t i = 0; i < acceptBatch; ++i)
            takeNumber(peer);
        Product product;
        product.prepare(first, acceptBatch + 1, waitingSession);
        product.accept(1);
        const auto began = Clock::now();
        product.accept(acceptBatch);
        state.SetIterationTime(secondsSince(began) / acceptBatch);
        product.forget();
        BusPeer last;
        last.onName(u"Brevant.Alert..Deleted." + Ferrow::decimal(first + acceptBatch),
                    [&](const BusMessage&) {
                        deleted.announce();
                        return MODULE_STATUS_SUCCESS;
                    });
        for (uint64_t number = first; number <= first + acceptBatch; ++number)
            peer.publish(u"Brevant.Alert.Delete." + Ferrow::decimal(number));
        deleted.wait();
    }
}

// So many in all, from all processes at once.
void flow(benchmark::State& state, const std::vector<std::unique_ptr<ChildProcess>>& products) {
    const auto each = static_cast<uint32_t>(longestQueue() / products.size());
    for ([[maybe_unused]] auto turn : state) {
        const auto began = Clock::now();
        for (const auto& product : products)
            sendRecord(product->connection(), &each, sizeof each);
        for (const auto& product : products)
            waitForAnswer(*product);
        state.SetIterationTime(secondsSince(began) / static_cast<double>(each * products.size()));
    }
}

void handles(benchmark::State& state) {
    const BrevantBusFunctions& bus = *Support::embeddedBus();
    std::vector<BrevantBusHandle> opened(1000);
    for ([[maybe_unused]] auto each : state) {
        const auto began = Clock::now();
        for (BrevantBusHandle& handle : opened)
            bus.acquireHandle(&handle);
        state.SetIterationTime(secondsSince(began));
        for (const BrevantBusHandle handle : opened)
            bus.releaseHandle(handle);
    }
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        const char* const port = std::getenv("BENCH_NATS");
        if (!port)
            return;
        const auto number = static_cast<uint16_t>(std::strtoul(port, nullptr, 10));
        setenv("BREVANT_BUS", (std::string("nats://127.0.0.1:") + port).c_str(), 1);
        // One after the other: who comes later finds the others ready.
        const auto ready = [](const std::function<void(int)>& serve) {
            auto process = std::make_unique<ChildProcess>(serve);
            waitForAnswer(*process);
            return process;
        };
        const auto responder =
            ready([number](int connection) { serveNatsEcho(number, [connection] { answer(connection); }); });
        const auto broker = ready(serveBroker);
        const auto viewer = ready(serveViewer);
        std::vector<std::unique_ptr<ChildProcess>> products;
        for (uint32_t i = 0; i < productProcesses; ++i)
            products.push_back(ready([i](int connection) { serveProduct(connection, i); }));

        NatsClient client(number);
        client.subscribe("bench.reply");
        const std::string payload(2 * description(1, waitingSession).size(), 'x');
        benchmark::RegisterBenchmark("server:raw", raw, std::ref(client), payload)->UseRealTime();
        const auto cycle = [&](benchmark::State& state) {
            for ([[maybe_unused]] auto each : state) {
                call(*viewer, 1);
                call(*broker, cycleBatch + 1);
                state.SetIterationTime(call(*viewer, cycleBatch) / cycleBatch);
            }
        };
        benchmark::RegisterBenchmark("server:cycle", cycle)->UseManualTime()->Iterations(3);
        BusPeer peer;
        benchmark::RegisterBenchmark("server:accept", accept, std::ref(peer))
            ->UseManualTime()
            ->Iterations(10);
        benchmark::RegisterBenchmark("server:handles", handles)->UseManualTime()->Iterations(5);
        // Once: it lasts.
        benchmark::RegisterBenchmark("server:flow", flow, std::cref(products))
            ->UseManualTime()
            ->Iterations(1)
            ->Repetitions(1);
        benchmark::RunSpecifiedBenchmarks();
    });
}
