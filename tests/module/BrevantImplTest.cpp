#include <latch>
#include <thread>

#include "module/BrevantFixture.h"
#include "module/BrevantImpl.h"

namespace Support {
namespace {

using BrevantImplTest = BrevantFixture;

constexpr uint32_t refused = MODULE_STATUS_INVALID_PARAMETER;

TEST_F(BrevantImplTest, HandsOutInstanceIdsFromOneOn) {
    for (const char16_t* expected : {u"1", u"2", u"3"}) {
        EXPECT_EQ(bus.deliver(u"Brevant.Alert.GetId", u"ignored"), MODULE_STATUS_SUCCESS);
        const auto answer = bus.published().back();
        EXPECT_EQ(answer.name, u"Brevant.Alert.GetId.Response");
        EXPECT_EQ(answer.sender, u"Brevant");
        EXPECT_EQ(answer.payload, expected);
    }
}

TEST_F(BrevantImplTest, AcceptsInstancesThatBeginWithANumberUpToTheNextOne) {
    takeIds(2);
    for (const char16_t* instance : {u"3", u"0", u"2x", u" 1", u"+1", u"-0", u"2 "}) {
        EXPECT_EQ(bus.deliver(std::u16string(u"Brevant.Alert.Delete.") + instance, u""),
                  MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.published().back().name, std::u16string(u"Brevant.Alert..NotFound.") + instance);
    }
    const size_t answers = publishedCount();
    for (const char16_t* instance :
         {u"4", u"5", u"x", u"-1", u"4294967296", u"99999999999999999999", u"+", u" "}) {
        const std::u16string name = std::u16string(u"Brevant.Alert.Delete.") + instance;
        EXPECT_EQ(bus.deliver(name, u""), refused);
        EXPECT_TRUE(log.has(4, u"Failed to parse instance id from message name: " + name + u"."));
    }
    EXPECT_EQ(publishedCount(), answers);
}

TEST_F(BrevantImplTest, RefusesShowRequestsThatMakeNoSenseWithoutAStatusMessage) {
    EXPECT_EQ(show(u"2"), refused);
    EXPECT_TRUE(log.has(4, u"Failed to parse instance id from message name: Brevant.Alert.Show.2."));
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.Show.1", u"{}"), refused);
    EXPECT_TRUE(log.has(4, u"Failed to parse message payload. Instance: 1."));
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.Show.1", alertInfo({.instance = u"01"}).toJson()), refused);
    EXPECT_TRUE(log.has(4, u"Invalid input. Instance name and payload are mismatached."));
    EXPECT_EQ(publishedCount(), 0u);
    EXPECT_TRUE(createdSessions().empty());
    for (const auto& record : log.records()) {
        if (record.level == 4) {
            EXPECT_EQ(record.function, u"Vok::BrevantImpl::showAlertHandler");
        }
    }
}

TEST_F(BrevantImplTest, QueuesAnAlertInTheSessionThatItNamesAndAnswersWithWhatBecameOfIt) {
    EXPECT_EQ(show(u"1", 5), MODULE_STATUS_SUCCESS);
    const auto answer = bus.published().back();
    EXPECT_EQ(answer.name, u"Brevant.Alert.id.Queued.1");
    EXPECT_EQ(answer.payload, u"");
    EXPECT_EQ(showWith({.instance = u"0", .title = u"1"}, 5), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(published(u"Brevant.Alert.id.Suppressed.0"));
    EXPECT_EQ(showWith({.instance = u"1x", .title = u"x", .product = u"suppressed"}, 5),
              MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(published(u"Brevant.Alert.id.Suppressed.1x"));
    EXPECT_EQ(createdSessions(), std::set<uint32_t>{5});
    bus.failNext("publish", MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(show(u"1y", 6), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(createdSessions(), (std::set<uint32_t>{5, 6}));
}

TEST_F(BrevantImplTest, ShowsAnAlertWithoutASessionInTheActiveOne) {
    EXPECT_EQ(show(u"1", 0), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(published(u"Brevant.Alert.id.Queued.1"));
    EXPECT_EQ(createdSessions(), std::set<uint32_t>{1});
    EXPECT_EQ(log.count(3, u"Creating session for the active session. Session id: 1."), 1u);
    EXPECT_EQ(screen->next(), u"1");
    EXPECT_EQ(show(u"0", 0), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(log.count(3, u"Creating session for the active session. Session id: 1."), 1u);
    dismissedByUser(u"1");
    EXPECT_EQ(screen->next(), u"0");
    dismissedByUser(u"0");
}

TEST_F(BrevantImplTest, KeepsAGlobalAlertWhenNoSessionIsActiveOrTheyCannotBeListed) {
    sessions.active = 0;
    EXPECT_EQ(show(u"1", 0), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.has(2, u"No active session was found."));
    sessions.fails = true;
    Platform::setLastError(13);
    EXPECT_EQ(show(u"0", 0), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.has(4, u"Failed to EnumerateSessions. Error: 13."));
    EXPECT_TRUE(published(u"Brevant.Alert.id.Queued.0"));
    EXPECT_TRUE(createdSessions().empty());
}

TEST_F(BrevantImplTest, DeletesFromTheGlobalQueueThenFromTheSessionsThenFromTheScreen) {
    sessions.active = 0;
    takeIds(2);
    EXPECT_EQ(showWith({.instance = u"1", .id = u"1"}, 0), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(showWith({.instance = u"2", .id = u"1"}, 4), MODULE_STATUS_SUCCESS);
    for (const char16_t* where : {u"Alert removed from global queue.", u"Alert removed from user session."}) {
        EXPECT_EQ(bus.deliver(u"Brevant.Alert.Delete.1", u""), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.published().back().name, u"Brevant.Alert..Deleted.1");
        EXPECT_EQ(log.count(3, where), 1u);
    }
    EXPECT_EQ(log.count(3, u"Alert instance 1 deleted."), 2u);
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.Delete.1", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.published().back().name, u"Brevant.Alert..NotFound.1");
    EXPECT_TRUE(log.has(3, u"Alert instance 1 not found and not being shown - can't delete it"));

    sessions.active = 4;
    EXPECT_EQ(show(u"3", 4), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(screen->next(), u"3");
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.Delete.3", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.published().back().name, u"Brevant.Alert..Deleted.3");
    EXPECT_EQ(screen->dismissals(), 1u);
}

TEST_F(BrevantImplTest, EndsASessionAtLogoffAndMakesANewOneWhenNeeded) {
    EXPECT_EQ(bus.deliver(u"SystemMonitor.UserSession.Logoff", u"no object"), refused);
    EXPECT_TRUE(log.has(4, u"Failed to parse SystemMonitor.UserSession.Logoff payload: no object."));
    const std::u16string longPayload = u"{\"sessionId\":\"1\",\"a\":\"" + std::u16string(200, u'x') + u"\"}";
    EXPECT_EQ(bus.deliver(u"SystemMonitor.UserSession.Logoff", longPayload), refused);
    EXPECT_TRUE(log.has(4, u"Failed to parse session id. Payload: " + longPayload.substr(0, 100) + u"."));
    log.clear();
    EXPECT_EQ(logoff(1), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.records().empty());

    EXPECT_EQ(show(u"1"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(screen->next(), u"1");
    std::thread busThread([&] { EXPECT_EQ(logoff(1), MODULE_STATUS_SUCCESS); });
    while (!log.has(3, u"Clearing alert session after logout. Session id: 1."))
        std::this_thread::yield();
    // The old session waits for its alert; neither this one's user nor another waits with it.
    EXPECT_EQ(show(u"0"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(show(u"0", 3), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(screen->next(), u"0");
    dismissedByUser(u"1");
    busThread.join();
    EXPECT_EQ(show(u"1x", 0), MODULE_STATUS_SUCCESS);
    dismissedByUser(u"0");
    EXPECT_EQ(screen->next(), u"1x");
    dismissedByUser(u"1x");
}

TEST_F(BrevantImplTest, IdsAndGlobalDeletionsGoOnWhileAViewerKeepsASessionWaiting) {
    std::latch asked(1), answers(1);
    screen->whenShown = [&](const std::u16string& instance) {
        if (instance != u"1")
            return;
        asked.count_down();
        answers.wait();
    };
    takeIds(1);
    EXPECT_EQ(show(u"1"), MODULE_STATUS_SUCCESS);
    asked.wait();
    EXPECT_EQ(showWith({.instance = u"2", .id = u"2"}, 0), MODULE_STATUS_SUCCESS);
    std::thread waiting([&] { EXPECT_EQ(show(u"0"), MODULE_STATUS_SUCCESS); });
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.GetId", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.Delete.2", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.published().back().name, u"Brevant.Alert..Deleted.2");
    answers.count_down();
    waiting.join();
    EXPECT_EQ(screen->next(), u"1");
    dismissedByUser(u"1");
    EXPECT_EQ(screen->next(), u"0");
    dismissedByUser(u"0");
}

TEST_F(BrevantImplTest, HandlesMessagesThatTheBusDeliversFromInsideAViewersRequest) {
    // The dispatch thread holds its session's mutex here.
    screen->whenShown = [&](const std::u16string& instance) {
        if (instance != u"1")
            return;
        EXPECT_EQ(show(u"0"), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.deliver(u"Brevant.Alert.Delete.1x", u""), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.deliver(u"Brevant.Alert.GetId", u""), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(logoff(1), MODULE_STATUS_SUCCESS);
    };
    EXPECT_EQ(show(u"1"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(published(u"Brevant.Alert.GetId.Response"));
    EXPECT_TRUE(published(u"Brevant.Alert.id.Queued.0"));
    EXPECT_TRUE(published(u"Brevant.Alert..NotFound.1x"));
    EXPECT_EQ(screen->next(), u"1");
    dismissedByUser(u"1");
    while (!log.has(3, u"Clearing alert session after logout. Session id: 1."))
        std::this_thread::yield();
    // Shown by the session that ends, or dropped with it.
    dismissedByUser(u"0");
}

TEST_F(BrevantImplTest, IsDestroyedSafelyWithMessagesInFlight) {
    takeIds(1000);
    screen->fleeting = true;
    sessions.active = 9;  // nothing is shown: only traffic counts here
    std::atomic<bool> stop{false};
    std::vector<std::thread> busThreads;
    for (uint32_t thread = 0; thread < 3; ++thread) {
        busThreads.emplace_back([&, thread] {
            for (uint32_t i = 0; !stop; ++i) {
                const std::u16string instance = Ferrow::decimal(i % 1000);
                show(instance, 1 + i % 3);
                bus.deliver(u"Brevant.Alert.Delete." + instance, u"");
                logoff(1 + (i + thread) % 3);
                bus.deliver(u"Brevant.Alert.GetId", u"");
            }
        });
    }
    EXPECT_TRUE(published(u"Brevant.Alert.id.Queued.5"));
    module.reset();
    EXPECT_EQ(bus.deliver(u"Brevant.Alert.GetId", u""), MODULE_STATUS_SUCCESS);
    const size_t answers = publishedCount();
    stop = true;
    for (std::thread& thread : busThreads)
        thread.join();
    EXPECT_EQ(publishedCount(), answers);
}

TEST_F(BrevantImplTest, SubscribesWhatItCanAndUnsubscribesItAgain) {
    const size_t before = bus.subscriptionCount();
    EXPECT_EQ(module->uninitialize(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.subscriptionCount(), before - 4);
    bus.failNext("subscribePattern", MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(module->initialize(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.subscriptionCount(), before - 1);
    size_t failures = 0;
    for (const auto& record : log.records()) {
        if (record.level == 2 && record.function == u"Vok::BrevantImpl::setupHandlers") {
            ++failures;
            EXPECT_EQ(record.message.find(u"Unable to subscribe to message "), 0u);
            EXPECT_TRUE(record.message.ends_with(u" : returned 2147483650."));
        }
    }
    EXPECT_EQ(failures, 1u);
    EXPECT_EQ(module->uninitialize(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.subscriptionCount(), before - 4);
}

}  // namespace
}  // namespace Support
