#include <future>
#include <thread>

#include "module/BrevantFixture.h"

namespace Support {
namespace {

using BrevantImplTest = BrevantFixture;

constexpr uint32_t done = MODULE_STATUS_SUCCESS;
constexpr uint32_t refused = MODULE_STATUS_INVALID_PARAMETER;

TEST_F(BrevantImplTest, HandsOutInstanceIdsFromOneOnAndAcceptsThemUpToTheNextOne) {
    takeIds(2);
    EXPECT_EQ(bus.published()[0].payload + bus.published()[1].payload, u"12");
    for (const std::u16string instance : {u"3", u"0", u"2x", u" 1", u"+1", u"-0", u"2 "}) {
        EXPECT_EQ(remove(instance), done);
        EXPECT_EQ(lastPublished(), u"Brevant.Alert..NotFound." + instance);
    }
    const size_t answers = bus.published().size();
    for (const std::u16string instance : {u"4", u"x", u"-1", u"4294967296", u"99999999999999999999", u"+"}) {
        EXPECT_EQ(remove(instance), refused);
        EXPECT_EQ(log.records().back().message,
                  u"Failed to parse instance id from message name: Brevant.Alert.Delete." + instance + u".");
    }
    EXPECT_EQ(bus.published().size(), answers);
}

TEST_F(BrevantImplTest, QueuesInTheSessionThatIsNamedAndReturnsHowTheAnswerFared) {
    EXPECT_EQ(show(u"1", 5), done);
    bus.failNext("publish", MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(show(u"1y", 5), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(show(u"0", 6), done);
    EXPECT_EQ(createdSessions, (std::vector<uint32_t>{5, 6}));
}

TEST_F(BrevantImplTest, KeepsAGlobalAlertUntilASessionIsActiveAndMakesThatSession) {
    sessions.active = 0;
    EXPECT_EQ(show(u"1", 0), done);
    EXPECT_TRUE(log.has(2, u"No active session was found."));
    sessions.fails = true;
    EXPECT_EQ(show(u"0", 0), done);
    EXPECT_EQ(lastPublished(), u"Brevant.Alert.id.Queued.0");
    EXPECT_TRUE(createdSessions.empty());

    sessions.fails = false;
    sessions.active = 1;
    EXPECT_EQ(show(u"1x", 0), done);
    EXPECT_EQ(show(u"1y", 0), done);
    EXPECT_EQ(log.count(3, u"Creating session for the active session. Session id: 1."), 1u);
    for (const char16_t* instance : {u"1", u"0", u"1x", u"1y"})
        expectShownAndDismiss(instance);
}

TEST_F(BrevantImplTest, LeavesASessionAtLogoffWithoutWaitingAndItsScreenToOneAlertAtATime) {
    const std::u16string longPayload = u"{\"sessionId\":\"1\",\"a\":\"" + std::u16string(200, u'x') + u"\"}";
    EXPECT_EQ(logoffWith(longPayload), refused);
    EXPECT_TRUE(log.has(4, u"Failed to parse session id. Payload: " + longPayload.substr(0, 100) + u"."));
    EXPECT_EQ(logoff(1), done);

    EXPECT_EQ(show(u"1"), done);
    EXPECT_EQ(screen->next(), u"1");
    std::thread busThread([&] {
        EXPECT_EQ(logoff(1), done);
        EXPECT_EQ(show(u"0"), done);
        EXPECT_EQ(remove(u"1"), done);
        EXPECT_EQ(lastPublished(), u"Brevant.Alert..NotFound.1");
        EXPECT_EQ(logoff(1), done);
        EXPECT_EQ(show(u"1x", 0), done);
    });
    EXPECT_TRUE(bus.waitForPublished(u"Brevant.Alert.id.Queued.1x"));
    // The third look shows that the second has led to nothing.
    const int before = sessions.looks;
    EXPECT_TRUE(eventually([&] {
        bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
        return sessions.looks >= before + 3;
    }));
    EXPECT_FALSE(screen->shownBefore(u"0"));
    EXPECT_FALSE(screen->shownBefore(u"1x"));
    dismissedByUser(u"1");
    busThread.join();
    expectShownAndDismiss(u"1x");
}

TEST_F(BrevantImplTest, ShowsNothingMoreFromWhenItsDestructionBegins) {
    sessions.active = 9;
    EXPECT_EQ(show(u"0", 9), done);
    EXPECT_EQ(screen->next(), u"0");
    for (const char16_t* waiting : {u"0x", u"0y"})
        EXPECT_EQ(show(waiting, 9), done);
    sessions.active = 1;
    EXPECT_EQ(show(u"1", 1), done);
    EXPECT_EQ(screen->next(), u"1");
    sessions.active = 9;

    // A delete request keeps the end waiting, and after it the other session's alert does.
    std::promise<void> asked, answer;
    viewer->whenDismissed = [&] {
        asked.set_value();
        answer.get_future().wait();
    };
    std::thread busThread([&] { EXPECT_EQ(remove(u"1"), done); });
    asked.get_future().wait();
    std::thread owner([&] { module.reset(); });
    EXPECT_TRUE(eventually([&] {
        const size_t answers = bus.published().size();
        takeIds(1);
        return bus.published().size() == answers;
    }));
    dismissedByUser(u"0");
    const int before = sessions.looks;
    EXPECT_TRUE(eventually([&] {
        bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
        return sessions.looks >= before + 3;
    }));
    EXPECT_FALSE(screen->shownBefore(u"0x"));
    answer.set_value();
    busThread.join();
    dismissedByUser(u"1");
    owner.join();
    EXPECT_FALSE(screen->shownBefore(u"0x"));
    EXPECT_FALSE(screen->shownBefore(u"0y"));
}

TEST_F(BrevantImplTest, HandsOutIdsAndDeletesGlobalAlertsWhileTheSessionMapIsHeld) {
    sessions.active = 0;
    EXPECT_EQ(showWith({.instance = u"1", .id = u"1"}, 0), done);
    viewers->whenSought = [&] {
        std::thread([&] {
            takeIds(1);
            EXPECT_EQ(remove(u"1"), done);
            EXPECT_EQ(lastPublished(), u"Brevant.Alert..Deleted.1");
        }).join();
    };
    EXPECT_EQ(show(u"0"), done);
}

TEST_F(BrevantImplTest, HandlesLaterWhatTheBusDeliversOnAThreadThatHoldsASessionsLock) {
    const auto everyRequest = [&] {
        EXPECT_EQ(show(u"0", 3), done);
        EXPECT_EQ(remove(u"1x"), done);
        EXPECT_EQ(logoff(3), done);
    };
    const std::u16string allHandled = u"Clearing alert session after logout. Session id: 3.";
    std::atomic<bool> sought{false};
    size_t waiting = 0;
    viewers->whenSought = [&] {
        if (sought.exchange(true))
            return;
        everyRequest();
        // None of these is handled before this thread lets go.
        while (logoffWith(u"[") == done)
            ASSERT_LE(++waiting, Vok::DeferredCalls::limit);
        EXPECT_TRUE(log.has(4, u"Too many requests wait. Dropping SystemMonitor.UserSession.Logoff."));
    };
    screen->whenShown = [&](const std::u16string&) {
        everyRequest();
        EXPECT_EQ(logoff(1), done);
    };
    EXPECT_EQ(show(u"1y", 2), done);
    waitForLog(3, allHandled);
    waitForLog(4, u"Failed to parse SystemMonitor.UserSession.Logoff payload: [.", waiting);
    EXPECT_TRUE(bus.waitForPublished(u"Brevant.Alert.id.Queued.0"));
    EXPECT_TRUE(bus.waitForPublished(u"Brevant.Alert..NotFound.1x"));
    EXPECT_EQ(show(u"1"), done);
    waitForLog(3, allHandled, 2);
    expectShownAndDismiss(u"1");

    // The next alert shall find the session gone.
    waitForLog(3, u"Clearing alert session after logout. Session id: 1.");
    screen->whenShown = nullptr;
    viewer->whenDismissed = everyRequest;
    EXPECT_EQ(show(u"1z"), done);
    EXPECT_EQ(screen->next(), u"1z");
    EXPECT_EQ(remove(u"1z"), done);
    waitForLog(3, allHandled, 3);
    dismissedByUser(u"1z");
}

TEST_F(BrevantImplTest, IsDestroyedSafelyWithMessagesInFlight) {
    takeIds(1000);
    sessions.active = 9;  // nothing is shown: only traffic counts here
    viewers->whenSought = [&] { remove(u"7"); };
    std::atomic<bool> stop{false};
    std::vector<std::thread> busThreads;
    for (uint32_t thread = 0; thread < 3; ++thread) {
        busThreads.emplace_back([&, thread] {
            for (uint32_t i = 0; !stop; ++i) {
                const std::u16string instance = Ferrow::decimal(i % 1000);
                show(instance, 1 + i % 3);
                remove(instance);
                logoff(1 + (i + thread) % 3);
                request(u"GetId");
            }
        });
    }
    EXPECT_TRUE(bus.waitForPublished(u"Brevant.Alert.id.Queued.5"));
    module.reset();
    const size_t answers = bus.published().size();
    takeIds(1);
    stop = true;
    for (std::thread& thread : busThreads)
        thread.join();
    EXPECT_EQ(bus.published().size(), answers);
}

TEST_F(BrevantImplTest, SubscribesWhatItCanAndUnsubscribesItAgain) {
    const size_t before = bus.subscriptionCount();
    EXPECT_EQ(module->uninitialize(), done);
    EXPECT_EQ(bus.subscriptionCount(), before - 4);
    bus.failNext("subscribePattern", MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(module->initialize(), done);
    EXPECT_EQ(bus.subscriptionCount(), before - 1);
}

}  // namespace
}  // namespace Support
