#include <future>
#include <thread>

#include "alerts/sessions/SessionFixture.h"
#include "support/EventRow.h"
#include "support/TelemetryCapture.h"

namespace Support {
namespace {

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
    void expectShown(std::initializer_list<const char16_t*> instances) {
        for (const char16_t* instance : instances)
            EXPECT_EQ(screen->next(), instance);
    }
    LogCapture log;
};

TEST_F(AlertUserSessionTest, RefusesADuplicateOfAQueuedAlertButNotOfTheAlertOnScreen) {
    const auto session = userSession();
    EXPECT_TRUE(queue(*session, alertWith({.instance = u"on screen"})));
    expectShown({u"on screen"});
    for (Vok::AlertSession* taker :
         {static_cast<Vok::AlertSession*>(session.get()), static_cast<Vok::AlertSession*>(global.get())}) {
        TelemetryCapture telemetry;
        log.clear();
        EXPECT_TRUE(queue(*taker, alertWith({.instance = u"2"})));
        EXPECT_FALSE(queue(*taker, alertWith({.instance = u"3", .id = u"other"})));
        EXPECT_TRUE(
            log.has(4, u"Failed to queue alert. Alert will be suppressed. Alert id: other, Instance: 3."));
        EXPECT_EQ(eventRow(telemetry.events().at(0)),
                  u"Brevant.Alert.SuppressedDuplicate Vok SuppressedDuplicate false false Brevant "
                  u"SuppressedDuplicate other - - product");
        EXPECT_FALSE(queue(*taker, alertWith({.instance = u"4", .title = u"4", .product = u"suppressed"})));
        EXPECT_TRUE(log.has(3, u"Plugin suppressed the alert. Alert id: id, Instance: 4."));
    }
    endWhatIsLeft();
}

TEST_F(AlertUserSessionTest, DispatchesOnlyWhileItsSessionIsTheFirstActiveOne) {
    std::atomic<int> asked{0};
    sessions.whenListed = [&] { ++asked; };
    sessions.active = 0;
    const auto session = userSession(8);
    EXPECT_TRUE(eventually([&] { return log.has(2, u"No active session was found."); }));
    sessions.active = 1;
    EXPECT_FALSE(session->isActiveSession());
    sessions.fails = true;
    Platform::setLastError(13);
    EXPECT_FALSE(session->isActiveSession());
    sessions.fails = false;
    EXPECT_TRUE(log.has(4, u"Failed to EnumerateSessions. Error: 13."));
    EXPECT_EQ(log.records().back().function, u"Vok::AlertUserSession::isActiveSession");
    screen->fleeting = true;
    for (const std::u16string topic : {u"Console.Connect", u"Remote.Connect", u"Logon"}) {
        sessions.active = 1;
        const int before = asked;
        EXPECT_TRUE(queue(*session, alert(topic)));
        EXPECT_TRUE(eventually([&] { return asked != before; }));
        EXPECT_FALSE(screen->shownBefore(topic));
        sessions.active = 8;
        EXPECT_EQ(bus.deliver(u"SystemMonitor.UserSession." + topic, u"ignored"), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(screen->next(), topic);
    }
}

TEST_F(AlertUserSessionTest, GoesOnAfterAnAlertThatCannotBeShownOrHasNoOutcome) {
    const auto session = userSession();
    screen->refuses = true;
    EXPECT_TRUE(queue(*session, alert(u"refused")));
    EXPECT_TRUE(eventually([&] { return log.has(4, u"Failed to show alert."); }));
    screen->refuses = false;
    EXPECT_TRUE(queue(*session, alert(u"expires")));
    expectShown({u"refused", u"expires"});
    screen->end(u"expires", false);
    EXPECT_TRUE(eventually([&] { return screen->dismissals() == 1; }));
    occupy(*session);
    EXPECT_EQ(log.count(4, u"Failed to wait for alert."), 1u);
    endWhatIsLeft();
}

TEST_F(AlertUserSessionTest, LetsGoOfItsAlertsOutsideEveryLock) {
    const auto session = userSession();
    std::vector<std::future<bool>> others;
    std::atomic<int> ended{0};
    const auto watched = [&](const std::u16string& instance) {
        const auto inner = alert(instance);
        return std::shared_ptr<Vok::Alert>(inner.get(), [&, inner](Vok::Alert*) {
            others.push_back(std::async(std::launch::async, [&] { return session->deleteAlert(u"nobody"); }));
            ended += others.back().wait_for(patience) == std::future_status::ready;
        });
    };
    screen->refuses = true;
    EXPECT_TRUE(queue(*session, watched(u"refused")));
    EXPECT_TRUE(eventually([&] { return ended == 1; }));
    screen->refuses = false;
    EXPECT_TRUE(queue(*session, watched(u"shown")));
    expectShown({u"refused", u"shown"});
    EXPECT_TRUE(queue(*session, watched(u"deleted")));
    screen->end(u"shown");
    EXPECT_TRUE(eventually([&] { return ended == 2; }));
    expectShown({u"deleted"});
    EXPECT_TRUE(session->deleteAlert(u"deleted"));
    EXPECT_TRUE(eventually([&] { return ended == 3; }));
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
    expectShown({u"a"});
}

TEST_F(AlertUserSessionTest, SessionsThatComeGoAndCompeteShowEachGlobalAlertOnce) {
    screen->fleeting = true;
    const auto session = userSession();
    SessionList others;  // by which session 2 is active too
    others.active = 2;
    constexpr uint64_t each = 300;
    std::atomic<size_t> deleted{0};
    std::vector<std::thread> products;
    for (uint64_t product = 0; product < 2; ++product) {
        products.emplace_back([&, product] {
            for (uint64_t i = 0; i < each; ++i) {
                const std::u16string instance = Ferrow::decimal(product * each + i);
                EXPECT_TRUE(queue(*global, alert(instance)));
                bus.deliver(u"SystemMonitor.UserSession.Logon", u"");
                if (i % 3 == 0)
                    deleted += global->deleteAlert(u"id of " + instance);
            }
        });
    }
    for (int i = 0; i < 50; ++i)
        userSession(2, &others)->deleteAlert(u"none");
    for (std::thread& product : products)
        product.join();
    std::set<std::u16string> seen;
    while (seen.size() < 2 * each - deleted)
        ASSERT_TRUE(seen.insert(screen->next()).second);
    EXPECT_FALSE(seen.contains(u""));
    EXPECT_TRUE(global->isEmpty());
}

}  // namespace
}  // namespace Support
