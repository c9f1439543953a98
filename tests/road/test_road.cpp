#include "road/Road.h"
#include "text/Utf.h"

// Sanitizer builds ask at exit whether to look for leaks. Stopping threads that run on at that moment crashes
// the look itself now and then.
namespace {
std::atomic<bool> leavesThreadsBehind{false};
}
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
    return leavesThreadsBehind;
}

namespace Road {
namespace {

using Support::BusMessage;

TEST_F(RoadTest, RequestsThatMakeNoSenseGetNoStatusMessageAndAGoodOneIsTakenDirectly) {
    std::u16string deep = u"{\"a\":";
    deep.append(100000, u'[');
    module->direct(u"Brevant.Alert.Show.7", titled(u"a").json(u"7"));
    module->direct(u"Brevant.Alert.Show.1", u"{");
    module->direct(u"Brevant.Alert.Show.1", deep);
    module->direct(u"Brevant.Alert.Show.1", titled(u"a").json(u"0"));
    module->direct(u"Brevant.Alert.Show.1", titled(u"a.\\u0000").json(u"1"));
    module->direct(u"Brevant.Alert.Delete.7", u"");
    EXPECT_EQ(module->direct(u"Brevant.Alert.GetId", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->direct(u"Brevant.Alert.Show.1", titled(u"direct").json(u"1")), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(viewer->waitForShow(), u"1");
    viewer->dismiss(u"1");
    for (const auto& message : log->all())
        EXPECT_TRUE(message.sender == u"Peer" || !message.name.starts_with(u"Brevant.Alert.a."));
}

TEST_F(RoadTest, ThePluginDecidesAndABrokenOneHarmsOnlyItsOwnAlerts) {
    showAndExpect(titled(u"!suppress"), u"Suppressed");
    for (const char16_t* broken : {u"!throw", u"!fail", u"!null"}) {
        const auto instance = occupy(broken);
        EXPECT_NE(viewer->payloadOf(instance).find(u"content of the plugin"), std::u16string::npos);
        viewer->dismiss(instance);
    }
    AlertText orphan = titled(u"orphan");
    orphan.product = u"without a plugin";
    for (const AlertText& alert : {titled(u"!no content"), orphan}) {
        const auto instance = showAndExpect(alert, u"Queued");
        EXPECT_TRUE(seen(outcome(alert.id, u"Failed", instance)));
    }
}

TEST_F(RoadTest, AViewerIsKnownWhileItIsRegisteredAndFailsTheAlertWhenItIsGone) {
    AlertText alert = titled(u"a");
    alert.viewer = u"gone";
    showAndExpect(alert, u"Suppressed");
    settings->set(u"Brevant/Viewer/gone", u"");
    EXPECT_TRUE(seen(u"Brevant.Viewer.gone.Registered"));
    const auto instance = showAndExpect(alert, u"Queued");
    EXPECT_TRUE(seen(outcome(u"a", u"Failed", instance)));
    settings->remove(u"Brevant/Viewer/gone");
    EXPECT_TRUE(seen(u"Brevant.Viewer.gone.Unregistered"));
    showAndExpect(alert, u"Suppressed");
}

TEST_F(RoadTest, AViewerThatRestartsStaysKnown) {
    const auto wasQueued = [this](const AlertText& alert) {
        const std::u16string instance = show(alert);
        const std::u16string queued = outcome(alert.id, u"Queued", instance);
        const std::u16string suppressed = outcome(alert.id, u"Suppressed", instance);
        std::u16string answer;
        EXPECT_TRUE(Support::eventually([&] {
            for (const BusMessage& message : log->all())
                if (message.name == queued || message.name == suppressed)
                    answer = message.name;
            return !answer.empty();
        }));
        return answer == queued;
    };
    settings->set(u"Brevant/Viewer/restarting", u"");
    EXPECT_TRUE(seen(u"Brevant.Viewer.restarting.Registered"));
    for (uint64_t restart = 0; restart < 200; ++restart) {
        settings->remove(u"Brevant/Viewer/restarting");
        settings->set(u"Brevant/Viewer/restarting", u"");
        EXPECT_TRUE(seen(u"Brevant.Viewer.restarting.Unregistered"));
        EXPECT_TRUE(seen(u"Brevant.Viewer.restarting.Registered"));
        AlertText alert = titled(Ferrow::decimal(restart));
        alert.viewer = u"restarting";
        // Where the deletion was told last, the second look at the setting may still be on its way.
        ASSERT_TRUE(Support::eventually([&] { return wasQueued(alert); })) << restart;
    }
}

TEST_F(RoadTest, ADuplicateOfAQueuedAlertIsSuppressedAndOneOfTheShownAlertIsNot) {
    const auto shown = occupy(u"shown");
    AlertText same = titled(u"shown");
    same.id = u"same texts";
    showAndExpect(same, u"Queued");
    showAndExpect(same, u"Suppressed");
    viewer->dismiss(shown);
    viewer->dismiss(viewer->waitForShow());
}

TEST_F(RoadTest, AViewerThatAnswersWronglyFailsTheAlertAndTheNextOneIsShown) {
    viewer->manner = Viewer::Manner::namesAnotherAlert;
    const auto wrong = showAndExpect(titled(u"wrong"), u"Queued");
    EXPECT_TRUE(seen(outcome(u"wrong", u"Failed", wrong)));
    EXPECT_EQ(viewer->waitForShow(), wrong);
    viewer->manner = Viewer::Manner::confirms;
    viewer->dismiss(occupy(u"right"));
}

TEST_F(RoadTest, WhileAViewerKeepsASessionWaitingOtherTrafficGoesOn) {
    viewer->manner = Viewer::Manner::isSilent;
    const auto stuck = showAndExpect(titled(u"stuck"), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), stuck);
    // This one waits for the session, and holds the session map meanwhile.
    const auto behind = show(titled(u"behind"));
    BusMessage id;
    EXPECT_EQ(product->request(u"Brevant.Alert.GetId", u"", id), MODULE_STATUS_SUCCESS);
    settings->set(u"Brevant/Viewer/other", u"");
    EXPECT_TRUE(seen(u"Brevant.Viewer.other.Registered"));
    viewer->manner = Viewer::Manner::confirms;
    viewer->answerHeld();
    viewer->dismiss(stuck);
    EXPECT_TRUE(seen(outcome(u"behind", u"Queued", behind)));
    viewer->dismiss(viewer->waitForShow());
}

TEST_F(RoadTest, TheGreaterPriorityValueWinsBetweenTheGlobalAndTheUserQueue) {
    const auto shown = occupy(u"on screen");
    AlertText user = titled(u"user"), global = titled(u"global");
    user.priority = u"P1";
    global.priority = u"P3";
    global.session = 0;
    const auto userInstance = showAndExpect(user, u"Queued");
    const auto globalInstance = showAndExpect(global, u"Queued");
    viewer->dismiss(shown);
    for (const auto& next : {globalInstance, userInstance}) {
        EXPECT_EQ(viewer->waitForShow(), next);
        viewer->dismiss(next);
    }
}

TEST_F(RoadTest, AfterALogoffTheNextAlertOfTheSessionWaitsForTheOneOnScreen) {
    const auto shown = occupy(u"on screen");
    EXPECT_EQ(module->direct(u"SystemMonitor.UserSession.Logoff", u"{\"sessionId\":1}"),
              MODULE_STATUS_SUCCESS);
    const auto next = showAndExpect(titled(u"after logon"), u"Queued");
    deleteAlert(shown);
    EXPECT_TRUE(seen(u"Brevant.Alert..NotFound." + shown));
    viewer->dismiss(shown);
    EXPECT_EQ(viewer->waitForShow(), next);
    viewer->dismiss(next);
}

TEST_F(RoadTest, ADeleteRequestRemovesAQueuedAlertAndDismissesTheShownOne) {
    const auto shown = occupy(u"on screen");
    // The queue is searched by alert id, with the instance id as the key.
    EXPECT_EQ(showAndExpect(titled(u"2"), u"Queued"), u"2");
    for (const std::u16string answer : {u"Deleted", u"NotFound"}) {
        deleteAlert(u"2");
        EXPECT_TRUE(seen(u"Brevant.Alert.." + answer + u".2"));
    }
    deleteAlert(shown);
    EXPECT_TRUE(seen(outcome(u"on screen", u"Dismissed", shown)));
    EXPECT_TRUE(seen(u"Brevant.Alert..Deleted." + shown));
}

TEST_F(RoadTest, AlertsFollowTheActiveSession) {
    AlertText other = titled(u"for two");
    other.session = 2;
    const auto waiting = showAndExpect(other, u"Queued");
    const auto here = occupy(u"for one");
    viewer->dismiss(here);
    EXPECT_TRUE(seen(outcome(u"for one", u"Dismissed", here)));
    folder.writeSessions("1 disconnected\n2 active\n");
    product->publish(u"SystemMonitor.UserSession.Console.Connect");
    EXPECT_EQ(viewer->waitForShow(), waiting);
    viewer->dismiss(waiting);
}

TEST_F(RoadTest, TheModuleEndsWithAlertsInEveryState) {
    AlertText elsewhere = titled(u"elsewhere"), global = titled(u"global");
    elsewhere.session = 2;
    global.session = 0;
    global.priority = u"P1";
    const auto shown = occupy(u"on screen");
    for (const AlertText& waiting : {titled(u"waiting"), elsewhere, global})
        showAndExpect(waiting, u"Queued");
    module->stop();
    // The next alert may be shown before the end begins.
    viewer->manner = Viewer::Manner::dismissesAtOnce;
    viewer->dismiss(shown);
    module->destroy();
}

TEST_F(RoadTest, IdsAndTextsOfAnyLengthCostNeitherTheStackNorTheOutcome) {
    viewer->dismiss(occupy(std::u16string(300000, u'x')));
    viewer->dismiss(occupy(u"next"));
}

TEST_F(RoadTest, TheProcessMayEndWithTheModuleAliveAndAnAlertOnScreen) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Where one bus has both processes, only the one that ends is to have a broker.
    TearDown();
    const auto show = [&] {
        SetUp();
        showAndExpect(titled(u"a"), u"Queued");
        leavesThreadsBehind = true;
        std::exit(viewer->waitForShow().empty() ? 1 : 0);
    };
    EXPECT_EXIT(show(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Road
