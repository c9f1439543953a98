// The server of the bus is killed while alerts flow: what was confirmed has its fate, once, in order.
#include <cstdlib>
#include <deque>
#include <set>
#include <thread>

#include "road/Road.h"
#include "support/BusProcess.h"
#include "support/NatsServer.h"
#include "text/Utf.h"

namespace Road {
namespace {

using Support::BusMessage;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t alertsOfEach = 100;
#else
constexpr size_t alertsOfEach = 10'000;
#endif
constexpr int products = 2, kills = 3;

// Before anything loads the bus library.
struct Server : Support::NatsServer {
    Server() { setenv("BREVANT_BUS", url().c_str(), 1); }
};

class ServerKillsTest : public RoadTest {
protected:
    static void SetUpTestSuite() { server.emplace(); }
    static void TearDownTestSuite() { server.reset(); }
    static std::optional<Server> server;
};
std::optional<Server> ServerKillsTest::server;

// What became of each instance.
struct Books : Support::Monitor {
    Books() {
        peer.onPattern(u"Brevant\\.Alert\\..+", [this](const BusMessage& message) {
            const std::u16string instance = Brevant::instanceOf(message.name);
            const std::u16string_view head(message.name.data(), message.name.size() - instance.size());
            locked([&] {
                if (head.ends_with(BREVANT_ALERT_SHOWN))
                    ++shown[instance];
                else if (head.ends_with(BREVANT_ALERT_DISMISSED) || head.ends_with(BREVANT_ALERT_FAILED))
                    ++fates[instance];
            });
            return MODULE_STATUS_NO_SUBSCRIBERS;
        });
        peer.onPattern(u"Brevant\\.Viewer\\.v\\.Show\\..+", [this](const BusMessage& message) {
            locked([&] { asked.push_back(Brevant::instanceOf(message.name)); });
            return MODULE_STATUS_NO_SUBSCRIBERS;
        });
    }
    bool haveAll(const std::set<std::u16string>& instances) const {
        return comes([&] {
            return std::ranges::all_of(instances, [&](const auto& each) { return fates.contains(each); });
        });
    }

    std::map<std::u16string, int> shown, fates;
    std::vector<std::u16string> asked;
    Support::BusPeer peer;  // last: its handlers use what stands above
};

// Publishes one alert after the other. What the broker has confirmed, in order.
std::vector<std::u16string> publishAll(const BrevantBusFunctions* bus, std::atomic<size_t>& progress) {
    std::vector<std::u16string> confirmed;
    Support::BusPeer peer(bus);
    BusMessage reply;
    for (size_t count = 0; count < alertsOfEach; ++count, ++progress) {
        EXPECT_TRUE(Support::eventually(
            [&] { return peer.request(BREVANT_ALERT_GET_ID, u"", reply) == MODULE_STATUS_SUCCESS; }));
        const std::u16string instance = reply.payload;
        const uint32_t status =
            peer.request(BREVANT_ALERT_SHOW + instance, titled(u"a" + instance).json(instance), reply);
        if (status == MODULE_STATUS_SUCCESS && reply.name.find(BREVANT_ALERT_QUEUED) != reply.name.npos)
            confirmed.push_back(instance);
    }
    return confirmed;
}

TEST_F(ServerKillsTest, WhatWasConfirmedHasItsFateOnceAndInOrder) {
    viewer->manner = Viewer::Manner::dismissesAtOnce;
    const Books books;
    std::atomic<size_t> progress{0};
    std::vector<std::u16string> confirmed[products];
    std::deque<Support::BusProcess> processes;
    std::vector<std::thread> threads;
    for (auto& each : confirmed) {
        const Support::BusProcess& process = processes.emplace_back(server->url());
        threads.emplace_back([&each, &process, &progress] { each = publishAll(process, progress); });
    }
    for (size_t kill = 1; kill <= kills; ++kill) {
        EXPECT_TRUE(
            Support::eventually([&] { return progress >= kill * alertsOfEach * products / (kills + 1); },
                                std::chrono::minutes(2)));
        server->kill();
        server->restart();
    }
    for (std::thread& thread : threads)
        thread.join();

    std::set<std::u16string> all;
    for (const auto& each : confirmed)
        all.insert(each.begin(), each.end());
    EXPECT_GT(all.size(), alertsOfEach * products * 9 / 10) << "the others were asked while it was away";
    EXPECT_TRUE(books.haveAll(all));
    books.locked([&] {
        for (const auto& [instance, count] : books.fates)
            EXPECT_EQ(count, 1) << Ferrow::toUtf8(instance);
        for (const auto& [instance, count] : books.shown)
            EXPECT_EQ(count, 1) << Ferrow::toUtf8(instance);
        for (const auto& each : confirmed) {
            std::vector<std::u16string> order;
            std::ranges::copy_if(books.asked, std::back_inserter(order), [&](const auto& instance) {
                return std::ranges::find(each, instance) != each.end();
            });
            EXPECT_EQ(order, each);
        }
    });
}

}  // namespace
}  // namespace Road
