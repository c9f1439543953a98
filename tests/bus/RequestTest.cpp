#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bus/MessageBusClient.h"
#include "bus/PerfTimer.h"
#include "bus/ReplyImpl.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/PassingClock.h"

namespace {

using namespace std::chrono_literals;
using Tavix::ReplyState;

class RequestTest : public testing::Test {
protected:
    std::shared_ptr<Tavix::Reply> requested(const std::u16string& name = u"Q",
                                            std::chrono::milliseconds timeout = 5s) {
        std::shared_ptr<Tavix::Reply> reply;
        EXPECT_EQ(client->request(Tavix::makeMessage(name, u"s", u"p"), reply, timeout),
                  MODULE_STATUS_SUCCESS);
        return reply;
    }
    void leavePending(const std::u16string& name = u"Q") {
        bus.answer(name, [](const FakeBus::Sent&) { return std::nullopt; });
    }
    FakeBus::Sent lastRequest() const { return bus.requests().back(); }

    FakeBus bus;
    LogCapture log;
    Support::PassingClock clock;
    std::shared_ptr<Tavix::MessageBusClient> client = bus.makeClient(nullptr, clock);
    const FakeBus::Answer answer{u"Q.Response", u"answer"};
};

TEST_F(RequestTest, CorrelatesRepliesWhateverTheirOrder) {
    leavePending();
    const auto first = requested(), second = requested();
    const auto sent = bus.requests();
    EXPECT_EQ(sent[0].replyIndex, 0u);
    EXPECT_EQ(sent[1].replyIndex, 1u);
    EXPECT_EQ(sent[0].timeout, 5000u);

    EXPECT_EQ(FakeBus::reply(sent[1], {u"R", u"two"}), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(FakeBus::reply(sent[0], {u"R", u"one"}), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(first->getState(), ReplyState::pending);
    EXPECT_FALSE(first->getMessage());
    EXPECT_EQ(first->wait(), ReplyState::received);
    EXPECT_EQ(second->waitFor(0ms), ReplyState::received);
    EXPECT_EQ(first->getMessage()->payload(), u"one");
    EXPECT_EQ(first->getMessage()->sender(), u"FakeBus");
    EXPECT_EQ(second->getMessage()->payload(), u"two");
    EXPECT_EQ(first->wait(), ReplyState::received);
}

TEST_F(RequestTest, TellsATimeoutOfTheBusFromOtherFailuresAndAnOutcomeOnce) {
    leavePending();
    const std::pair<uint32_t, ReplyState> cases[]{{MODULE_STATUS_TIMEOUT, ReplyState::timedOut},
                                                  {MODULE_STATUS_NO_MEMORY, ReplyState::dataError},
                                                  {1, ReplyState::dataError}};
    for (const auto& [status, state] : cases) {
        log.clear();
        const auto reply = requested();
        EXPECT_EQ(FakeBus::reply(lastRequest(), {u"", u"", status}), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(reply->wait(), state);
        EXPECT_FALSE(reply->getMessage());
        EXPECT_EQ(reply->wait(), ReplyState::dataError);
        EXPECT_TRUE(log.has(4, u"Reply future is in an invalid state. Returning."));
    }
    const auto received = requested();
    FakeBus::reply(lastRequest(), answer);
    EXPECT_EQ(received->wait(), ReplyState::received);
    EXPECT_EQ(received->waitFor(1ms), ReplyState::dataError);
    EXPECT_FALSE(received->getMessage());
    EXPECT_EQ(log.records().back().function, u"Tavix::ReplyImpl::waitFor");
}

TEST_F(RequestTest, GivesUpOneSecondAfterTheDeadlineAndStillTakesALateReply) {
    leavePending();
    const auto begin = clock.now();
    const auto reply = requested();
    EXPECT_EQ(reply->waitFor(10ms), ReplyState::pending);
    EXPECT_TRUE(log.has(2, u"Reply waitFor timed out. Returning."));
    EXPECT_EQ(clock.now(), begin + 10ms);
    EXPECT_EQ(reply->wait(), ReplyState::dataError);
    EXPECT_EQ(clock.now(), begin + 6s);
    EXPECT_TRUE(log.has(4, u"Reply future did not get fulfilled on time. Status: 1"));

    FakeBus::reply(lastRequest(), answer);
    EXPECT_EQ(reply->wait(), ReplyState::received);
}

TEST_F(RequestTest, KeepsExtremeTimeoutsInRange) {
    leavePending();
    constexpr auto forever = std::chrono::milliseconds::max();
    const auto reply = requested(u"Q", forever);
    EXPECT_EQ(lastRequest().timeout, UINT32_MAX);
    EXPECT_EQ(reply->waitFor(forever), ReplyState::pending);
    EXPECT_EQ(reply->wait(), ReplyState::dataError);
    clock.time = 1h;
    const auto negative = requested(u"Q", -forever);
    EXPECT_EQ(lastRequest().timeout, 0u);
    EXPECT_EQ(negative->waitFor(-forever), ReplyState::pending);
    EXPECT_EQ(clock.now(), 1h);
}

TEST_F(RequestTest, ReportsARequestThatCannotBeSent) {
    auto reply = std::shared_ptr<Tavix::Reply>(
        std::make_shared<Tavix::ReplyImpl>(nullptr, std::chrono::milliseconds(0), clock));
    EXPECT_EQ(client->request(Tavix::makeMessage(u"Nobody", u"s", u"p"), reply, 1s),
              MODULE_STATUS_NO_SUBSCRIBERS);
    EXPECT_FALSE(reply);
    EXPECT_TRUE(log.has(4, u"Failed to make request. Error code 2147483662."));
    EXPECT_EQ(client->request(nullptr, reply, 1s), MODULE_STATUS_INVALID_PARAMETER);

    bool called = false;
    EXPECT_EQ(client->requestAlternate(
                  nullptr, [&](const auto&) { called = true; }, 1s),
              MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_FALSE(called);
}

TEST_F(RequestTest, CompletesAsynchronousRequestsWithTheirOutcome) {
    std::vector<ReplyState> states;
    std::u16string payload;
    const auto completion = [&](const std::shared_ptr<Tavix::Reply>& reply) {
        states.push_back(reply->getState());
        if (const auto message = reply->getMessage())
            payload = message->payload();
    };
    bus.answer(u"Now", [this](const FakeBus::Sent&) { return answer; });
    leavePending(u"Later");
    const auto send = [&](const std::u16string& name) {
        EXPECT_EQ(client->request(Tavix::makeMessage(name, u"s", u""), completion, 1s),
                  MODULE_STATUS_SUCCESS);
    };
    send(u"Now");
    EXPECT_EQ(payload, u"answer");
    send(u"Later");
    EXPECT_EQ(states.size(), 1u);
    FakeBus::reply(lastRequest(), {u"", u"", MODULE_STATUS_TIMEOUT});
    send(u"Later");
    FakeBus::reply(lastRequest(), {u"", u"", MODULE_STATUS_UNSUCCESSFUL});
    EXPECT_EQ(states, (std::vector{ReplyState::received, ReplyState::timedOut, ReplyState::dataError}));
    // No completion asked for.
    EXPECT_EQ(client->request(Tavix::makeMessage(u"Now", u"s", u""), nullptr, 1s), MODULE_STATUS_SUCCESS);
}

TEST_F(RequestTest, RefusesRepliesThatNobodyWaitsForAlsoAfterACompletionThatThrew) {
    leavePending();
    client->request(
        Tavix::makeMessage(u"Q", u"s", u""), [](const auto&) { throw std::runtime_error("completion"); }, 1s);
    FakeBus::Sent request = lastRequest();
    EXPECT_EQ(FakeBus::reply(request, answer), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(FakeBus::reply(request, answer), MODULE_STATUS_NOT_FOUND);
    EXPECT_TRUE(log.has(2, u"Reply index not found. Returning"));
    request.replyContext = nullptr;
    EXPECT_EQ(FakeBus::reply(request, answer), MODULE_STATUS_INVALID_PARAMETER);
}

TEST_F(RequestTest, IsMadeOverABindingWhoseSetUpIsTimedOnce) {
    {
        Tavix::internal::PerfTimer timer(u"T", clock);
        clock.time += 5s;
        timer.stop();
        clock.time += 5s;
    }
    EXPECT_EQ(log.count(1, u"M12NPerfTimer|T|3600000000000|3605000000000|5000000000"), 1u);
}

}  // namespace
