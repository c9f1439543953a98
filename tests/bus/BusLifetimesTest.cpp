// Callbacks that come late, at once, from inside calls, or destroy the client that they belong to.
#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bus/BusCallbacks.h"
#include "bus/MessageBusClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using namespace std::chrono_literals;
using Tavix::MessageBusClient;
using Tavix::ReplyState;

std::shared_ptr<Tavix::Message> question() {
    return Tavix::makeMessage(u"Q", u"s", u"");
}

class BusLifetimesTest : public testing::Test {
protected:
    BusLifetimesTest() {
        bus.answer(u"Q", [](const FakeBus::Sent&) { return std::nullopt; });
    }

    FakeBus bus;
    std::shared_ptr<MessageBusClient> client = bus.makeClient();
    const FakeBus::Answer answer{u"Q.Response", u""};
};

TEST_F(BusLifetimesTest, LateCallbacksFindNothingAndSayNothing) {
    LogCapture log;
    int calls = 0;
    const auto callback =
        std::make_shared<const Tavix::MessageCallback>([&](const std::shared_ptr<Tavix::Message>& message) {
            ++calls;
            EXPECT_EQ(message->name() + message->payload(), u"") << "null texts are empty ones";
            EXPECT_EQ(+message->header()->version, 2u);
            return MODULE_STATUS_DATA_ERROR;
        });
    const auto deliver = [](Tavix::BusContext to) {
        return Tavix::brevantMessageFunction(to, nullptr, nullptr, nullptr, nullptr);
    };
    const Tavix::BusContext context = Tavix::messageContexts().add(callback);
    EXPECT_EQ(deliver(context), MODULE_STATUS_DATA_ERROR);
    Tavix::messageContexts().remove(context);
    for (const Tavix::BusContext nowhere : {context, Tavix::BusContext{}})
        EXPECT_EQ(deliver(nowhere), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(calls, 1);
    EXPECT_NE(Tavix::messageContexts().add(callback), context);

    client->request(
        question(), [&](const auto&) { ++calls; }, 1s);
    client.reset();
    log.clear();
    EXPECT_EQ(FakeBus::reply(bus.requests()[0], answer), MODULE_STATUS_NOT_FOUND);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(BusLifetimesTest, AClientMayBeDestroyedByItsOwnCallbacksAlsoFromInsideItsCalls) {
    const auto fresh = [this] {
        client = bus.makeClient();
        client->subscribe(u"N", [this](const auto&) {
            client.reset();
            return MODULE_STATUS_SUCCESS;
        });
    };
    fresh();
    bus.deliver(u"N", u"");
    EXPECT_FALSE(client);

    // The completion runs under the client's own lock.
    client = bus.makeClient();
    client->request(
        question(), [&](const auto&) { client.reset(); }, 1s);
    EXPECT_EQ(FakeBus::reply(bus.requests().back(), answer), MODULE_STATUS_SUCCESS);
    EXPECT_FALSE(client);
    EXPECT_EQ(bus.subscriptionCount(), 0u);

    for (const std::string entry : {"publish", "request"})
        bus.whenCalled(entry, [this] { bus.deliver(u"N", u""); });
    fresh();
    const auto reply = Tavix::makeMessage(u"R", u"s", u"");
    reply->header()->flags = BREVANT_MESSAGE_REPLY;
    EXPECT_EQ(client->publish(reply), MODULE_STATUS_SUCCESS);
    EXPECT_FALSE(client);
    EXPECT_EQ(bus.published().size(), 2u);

    fresh();
    std::shared_ptr<Tavix::Reply> pending;
    EXPECT_EQ(client->request(question(), pending, 1h), MODULE_STATUS_SUCCESS);
    EXPECT_FALSE(client);
    EXPECT_EQ(pending->wait(), ReplyState::dataError);
}

TEST_F(BusLifetimesTest, TheBusMayDeliverFromInsideSubscribeAndUnsubscribe) {
    int calls = 0;
    client->subscribe(u"N", u"1", [&](const auto&) {
        ++calls;
        client->publish(Tavix::makeMessage(u"P", u"s", u""));
        return MODULE_STATUS_SUCCESS;
    });
    for (const std::string entry : {"subscribe", "subscribePattern", "unsubscribe"})
        bus.whenCalled(entry, [this] { bus.deliver(u"N", u""); });
    client->subscribe(u"M", u"2", [](const auto&) { return 0u; });
    client->subscribeFilter(u"M", u"2", [](const auto&) { return 0u; });
    client->unsubscribe(u"2");
    EXPECT_EQ(calls, 4);
}

TEST_F(BusLifetimesTest, ACallbackLivesWhileItRunsAndEndsOutsideTheLocks) {
    // What the callback holds uses the client again as it ends.
    struct Holder {
        explicit Holder(MessageBusClient& itsClient) : client(itsClient) {}
        ~Holder() { client.unsubscribe(u"other"); }
        MessageBusClient& client;
    };
    auto holder = std::make_shared<Holder>(*client);
    std::weak_ptr<Holder> watched = holder;
    client->subscribe(u"N", [this, watched, holder = std::move(holder)](const auto&) {
        client->unsubscribe(u"N");
        EXPECT_FALSE(watched.expired());
        return MODULE_STATUS_SUCCESS;
    });
    bus.deliver(u"N", u"");
    EXPECT_TRUE(watched.expired());
}

TEST_F(BusLifetimesTest, WaitingForCallbacksLeavesOutTheCallersOwn) {
    std::promise<void> entered, mayReturn;
    std::atomic<bool> returned{false};
    client->subscribe(u"Slow", [&](const auto&) {
        entered.set_value();
        mayReturn.get_future().wait();
        returned = true;
        return MODULE_STATUS_SUCCESS;
    });
    client->subscribe(u"Waiting", [&](const auto&) {
        Tavix::waitForBusCallbacks();
        return returned ? MODULE_STATUS_SUCCESS : MODULE_STATUS_INVALID_STATE;
    });
    EXPECT_EQ(bus.deliver(u"Waiting", u""), MODULE_STATUS_INVALID_STATE);

    std::thread slow([&] { bus.deliver(u"Slow", u""); });
    entered.get_future().wait();
    std::thread waiting([&] { EXPECT_EQ(bus.deliver(u"Waiting", u""), MODULE_STATUS_SUCCESS); });
    mayReturn.set_value();
    slow.join();
    waiting.join();
    Tavix::waitForBusCallbacks();
}

TEST_F(BusLifetimesTest, ManyClientsComeAndGoWhileMessagesAndRepliesArrive) {
    std::atomic<bool> done{false};
    std::atomic<size_t> calls{0};
    std::vector<std::thread> busThreads;
    busThreads.emplace_back([&] {
        while (!done) {
            bus.deliver(u"N", u"payload");
            bus.deliver(u"Outcome.1", u"");
        }
    });
    busThreads.emplace_back([&] {
        size_t from = 0;
        while (!done) {
            const auto requests = bus.requests();
            for (; from < requests.size(); ++from) {
                FakeBus::reply(requests[from], answer);
                FakeBus::reply(requests[from], answer);
            }
        }
    });
    const auto work = [&] {
        for (int round = 0; round < 150; ++round) {
            auto mine = bus.makeClient();
            const auto count = [state = std::make_shared<std::atomic<int>>(), &calls](const auto&) {
                ++*state;
                ++calls;
                return MODULE_STATUS_SUCCESS;
            };
            mine->subscribe(u"N", count);
            mine->subscribeFilter(u"Outcome\\..*", u"o", count);
            mine->request(
                question(), [state = std::make_shared<int>(0)](const auto&) { ++*state; }, 1s);
            std::shared_ptr<Tavix::Reply> reply;
            mine->request(question(), reply, 20s);
            if (round % 2) {
                EXPECT_EQ(reply->wait(), ReplyState::received);
                mine->unsubscribe(u"o");
            }
            mine.reset();
            EXPECT_NE(reply->wait(), ReplyState::timedOut);
        }
    };
    std::thread other(work);
    work();
    other.join();
    while (calls == 0)
        std::this_thread::yield();
    done = true;
    for (std::thread& thread : busThreads)
        thread.join();
    EXPECT_EQ(bus.subscriptionCount(), 0u);
}

}  // namespace
