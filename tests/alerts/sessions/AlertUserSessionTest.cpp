#include <thread>

#include "alerts/sessions/AlertUserSession.h"
#include "alerts/sessions/SessionFixture.h"
#include "logging/Log.h"
#include "support/TelemetryCapture.h"

namespace Support {
namespace {

using namespace std::chrono_literals;

class AlertUserSessionTest : public SessionFixture {
protected:
    // Shows an alert and leaves it on screen, so that what is queued next waits.
    void occupy(Vok::AlertUserSession& session) {
        EXPECT_TRUE(queue(session, alert(u"on screen")));
        EXPECT_EQ(screen->next(), u"on screen");
    }
    void endWhatIsLeft() {
        screen->fleeting = true;
        screen->end(u"on screen");
    }
    bool waitForLog(uint32_t level, const std::u16string& message) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!log.has(level, message)) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::yield();
        }
        return true;
    }

    LogCapture log;
};

TEST_F(AlertUserSessionTest, ShowsOneAlertAtATimeByPriorityThenArrival) {
    const auto session = userSession();
    occupy(*session);
    EXPECT_TRUE(queue(*session, alert(u"two", 2)));
    EXPECT_TRUE(queue(*session, alert(u"one", 1)));
    EXPECT_TRUE(queue(*session, alert(u"two again", 2)));
    EXPECT_FALSE(screen->shownBefore(u"one"));
    endWhatIsLeft();
    for (const char16_t* expected : {u"one", u"two", u"two again"})
        EXPECT_EQ(screen->next(), expected);
}

TEST_F(AlertUserSessionTest, TheGlobalAlertOfGreaterPriorityValueGoesFirstAndSoDoesATieOfGreaterInstance) {
    const auto session = userSession();
    occupy(*session);
    EXPECT_TRUE(queue(*session, alert(u"b", 2)));
    EXPECT_TRUE(queue(*session, alert(u"d", 3)));
    EXPECT_TRUE(queue(*global, alert(u"c", 2)));
    EXPECT_TRUE(queue(*global, alert(u"z", 3)));
    endWhatIsLeft();
    // c beats b (tie, greater instance); z beats b (greater value) and, once alone in its queue, goes anyway.
    for (const char16_t* expected : {u"c", u"z", u"b", u"d"})
        EXPECT_EQ(screen->next(), expected);

    EXPECT_TRUE(queue(*global, alertWith({.instance = u"alone", .title = u"alone"})));
    EXPECT_EQ(screen->next(), u"alone");
}

TEST_F(AlertUserSessionTest, SuppressesADuplicateOfAQueuedAlertButNotOneOfTheAlertOnScreen) {
    TelemetryCapture telemetry;
    const auto session = userSession();
    EXPECT_TRUE(queue(*session, alertWith({.instance = u"on screen", .title = u"same"})));
    EXPECT_EQ(screen->next(), u"on screen");
    EXPECT_TRUE(queue(*session, alertWith({.instance = u"2", .title = u"same"})));
    EXPECT_FALSE(queue(*session, alertWith({.instance = u"3", .id = u"other", .title = u"same"})));
    const std::u16string refused =
        u"Failed to queue alert. Alert will be suppressed. Alert id: other, Instance: 3.";
    EXPECT_EQ(log.count(ETWLogging::levelError, refused), 1u);
    EXPECT_EQ(telemetry.count(u"Brevant.Alert.SuppressedDuplicate"), 1u);
    auto event = telemetry.waitFor(u"Brevant.Alert.SuppressedDuplicate").value();
    EXPECT_EQ(event[u"Event.Category"], u"Vok");
    EXPECT_EQ(event[u"Event.Action"], u"SuppressedDuplicate");
    EXPECT_EQ(event[u"Interactive"], u"false");
    EXPECT_EQ(event[u"UserInitiated"], u"false");
    EXPECT_EQ(event[u"Sub.Category"], u"Brevant");
    EXPECT_EQ(event[u"Tertiary.Category"], u"SuppressedDuplicate");
    EXPECT_EQ(event[u"Hit.GUID"], u"other");
    EXPECT_EQ(event[u"Hit.Label.1"], u"product");

    EXPECT_FALSE(queue(*session, alertWith({.instance = u"4", .title = u"4", .product = u"suppressed"})));
    EXPECT_TRUE(
        log.has(ETWLogging::levelInformation, u"Plugin suppressed the alert. Alert id: id, Instance: 4."));
    endWhatIsLeft();
}

TEST_F(AlertUserSessionTest, DeletesQueuedAlertsByAlertIdAndTheOneOnScreenByInstance) {
    const auto session = userSession();
    occupy(*session);
    EXPECT_TRUE(queue(*session, alertWith({.instance = u"5", .id = u"five"})));
    EXPECT_FALSE(session->deleteAlert(u"5"));
    EXPECT_TRUE(session->deleteAlert(u"five"));
    EXPECT_TRUE(log.has(ETWLogging::levelInformation,
                        u"Alert instance five was in the queue. The alert has been removed."));
    EXPECT_FALSE(session->deleteAlert(u"id of on screen"));
    EXPECT_TRUE(session->deleteAlert(u"on screen"));
    EXPECT_EQ(screen->dismissals(), 1u);
    EXPECT_TRUE(log.has(ETWLogging::levelInformation,
                        u"Alert instance on screen was being shown. The alert has been dismissed."));
    EXPECT_FALSE(screen->shownBefore(u"5"));
}

TEST_F(AlertUserSessionTest, DispatchesOnlyWhileItsSessionIsTheFirstActiveOne) {
    sessions.active = 0;
    const auto session = userSession(2);
    EXPECT_TRUE(queue(*session, alert(u"a")));
    EXPECT_TRUE(waitForLog(ETWLogging::levelWarning, u"No active session was found."));
    sessions.active = 1;
    EXPECT_FALSE(session->isActiveSession());
    bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
    EXPECT_FALSE(screen->shownBefore(u"a"));
    sessions.fails = true;
    Platform::setLastError(13);
    EXPECT_FALSE(session->isActiveSession());
    EXPECT_TRUE(log.has(ETWLogging::levelError, u"Failed to EnumerateSessions. Error: 13."));
    sessions.fails = false;

    sessions.active = 2;
    screen->fleeting = true;
    bus.deliver(u"SystemMonitor.UserSession.Console.Connect", u"ignored");
    EXPECT_EQ(screen->next(), u"a");
    for (const char16_t* topic :
         {u"SystemMonitor.UserSession.Remote.Connect", u"SystemMonitor.UserSession.Logon"}) {
        sessions.active = 1;
        const std::u16string instance = topic;
        EXPECT_TRUE(queue(*session, alert(instance)));
        sessions.active = 2;
        bus.deliver(topic, u"");
        EXPECT_EQ(screen->next(), instance);
    }
    for (const auto& record : log.records()) {
        if (record.level > ETWLogging::levelNormal) {
            EXPECT_EQ(record.source, u"AlertUserSession");
            EXPECT_EQ(record.function, u"Vok::AlertUserSession::isActiveSession");
        }
    }
}

TEST_F(AlertUserSessionTest, GoesOnAfterAnAlertThatCannotBeShownOrHasNoOutcome) {
    const auto session = userSession();
    screen->refuses = true;
    EXPECT_TRUE(queue(*session, alert(u"refused")));
    EXPECT_EQ(screen->next(), u"refused");
    EXPECT_TRUE(waitForLog(ETWLogging::levelError, u"Failed to show alert."));
    screen->refuses = false;
    EXPECT_TRUE(queue(*session, alert(u"expires")));
    EXPECT_EQ(screen->next(), u"expires");
    screen->end(u"expires", false);
    EXPECT_TRUE(waitForLog(ETWLogging::levelError, u"Failed to wait for alert."));
    occupy(*session);
    EXPECT_EQ(screen->dismissals(), 1u);
    endWhatIsLeft();
}

TEST_F(AlertUserSessionTest, EndsWithTheAlertOnScreenAndDropsWhatIsQueued) {
    auto session = userSession();
    occupy(*session);
    EXPECT_TRUE(queue(*session, alert(u"dropped")));
    const size_t published = bus.published().size();
    std::atomic<bool> gone{false};
    std::thread owner([&] {
        session.reset();
        gone = true;
    });
    // Late notifications and global alerts find nobody to wake.
    EXPECT_TRUE(queue(*global, alert(u"global")));
    bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
    EXPECT_FALSE(gone);
    // Whichever comes first, the wish to stop or the outcome: nothing more is shown.
    sessions.active = 2;
    screen->end(u"on screen");
    owner.join();
    EXPECT_FALSE(screen->shownBefore(u"dropped"));
    EXPECT_FALSE(screen->shownBefore(u"global"));
    EXPECT_FALSE(global->isEmpty());
    EXPECT_EQ(bus.published().size(), published);
}

TEST_F(AlertUserSessionTest, ASuccessorOfTheSameIdIsWokenWhileItsPredecessorStillEnds) {
    auto predecessor = userSession();
    occupy(*predecessor);
    predecessor->leaveGlobalSession();
    const auto successor = userSession();
    std::thread owner([&] { predecessor.reset(); });
    EXPECT_TRUE(queue(*global, alert(u"global")));
    EXPECT_EQ(screen->next(), u"global");
    screen->fleeting = true;
    screen->end(u"on screen");
    screen->end(u"global");
    owner.join();
    EXPECT_TRUE(queue(*global, alert(u"later")));
    EXPECT_EQ(screen->next(), u"later");
}

TEST_F(AlertUserSessionTest, LosesNoWakeUpThatComesBetweenItsLookForWorkAndItsSleep) {
    screen->fleeting = true;
    // The thread has found both queues empty when it asks for the first time, and another session active when
    // it asks for the second.
    int asked = 0;
    sessions.whenListed = [&] {
        if (++asked == 1) {
            sessions.active = 2;
            EXPECT_TRUE(queue(*global, alert(u"a")));
        } else if (asked == 2) {
            sessions.active = 1;
            bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
        }
    };
    const auto session = userSession();
    EXPECT_EQ(screen->next(), u"a");
}

TEST_F(AlertUserSessionTest, SessionsThatCompeteForGlobalAlertsShowEachOnce) {
    screen->fleeting = true;
    const auto session = userSession();
    const auto rival = userSession();
    constexpr int each = 300;
    std::vector<std::thread> products;
    for (int product = 0; product < 2; ++product) {
        products.emplace_back([&, product] {
            for (int i = 0; i < each; ++i)
                EXPECT_TRUE(
                    queue(*global, alert(Ferrow::decimal(static_cast<uint64_t>(product * each + i)))));
        });
    }
    std::set<std::u16string> seen;
    for (int i = 0; i < 2 * each; ++i)
        EXPECT_TRUE(seen.insert(screen->next()).second);
    for (std::thread& product : products)
        product.join();
    EXPECT_FALSE(seen.contains(u""));
    EXPECT_TRUE(global->isEmpty());
}

TEST_F(AlertUserSessionTest, SessionsComeAndGoUnderTraffic) {
    screen->fleeting = true;
    std::atomic<bool> stop{false};
    std::thread traffic([&] {
        for (int i = 0; !stop; ++i) {
            queue(*global, alert(Ferrow::decimal(static_cast<uint64_t>(i))));
            bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
            global->deleteAlert(u"id of " + Ferrow::decimal(static_cast<uint64_t>(i)));
        }
    });
    for (int i = 0; i < 100; ++i) {
        const auto session = userSession();
        queue(*session, alert(u"own"));
        session->deleteAlert(u"own");
    }
    stop = true;
    traffic.join();
}

}  // namespace
}  // namespace Support
