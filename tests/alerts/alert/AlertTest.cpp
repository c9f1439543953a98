#include <gtest/gtest.h>
#include <thread>

#include "alerts/alert/Alert.h"
#include "alerts/viewers/AlertViewer.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/PassingClock.h"
#include "support/TelemetryCapture.h"

namespace {

using namespace std::chrono_literals;
using Text = std::u16string;

// An action for each character.
Text contextOf(const Text& actions, const Text& title = u"t", const Text& details = u"d") {
    Text list;
    for (const char16_t text : actions)
        list += (list.empty() ? u"" : u",") +
                (uR"({"id":"","defaultmessage":{},"text":")" + Text{text, u'"', u'}'});
    return uR"({"defaultcontent":"c","title":")" + title + uR"(","detailscontent":")" + details +
           uR"(","actions":[)" + list + u"]}";
}

class AlertTest : public testing::Test {
protected:
    std::shared_ptr<Vok::Alert> makeAlert(const Text& id, const Text& context = u"{}") {
        Vok::AlertInfo info;
        info.id = id;
        info.instanceId = u"x";
        info.context = context;
        return std::make_shared<Vok::Alert>(std::move(info), bus.makeClient(), clock);
    }
    std::shared_ptr<Vok::Alert> alertWithViewer(const Text& id) {
        const auto alert = makeAlert(id);
        alert->setViewer(viewer);
        return alert;
    }
    // "Show" or "Delete", about the alert of any id.
    void viewerAnswers(const Text& what, const FakeBus::Answer& answer) {
        bus.answer(u"Brevant.Viewer.V." + what + u".x",
                   [answer](const auto&) { return std::optional(answer); });
    }
    std::shared_ptr<Vok::Alert> shownAlert(const Text& id = u"{1}") {
        viewerAnswers(u"Show", {u"Brevant.Alert." + id + u".Shown.x", u"ignored"});
        const auto alert = alertWithViewer(id);
        EXPECT_TRUE(alert->show());
        return alert;
    }
    void publish(const Text& outcome) { bus.deliver(u"Brevant.Alert." + outcome, u""); }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    Support::PassingClock clock;
    const std::shared_ptr<Vok::AlertViewer> viewer =
        std::make_shared<Vok::AlertViewer>(u"V", bus.makeClient());
};

TEST_F(AlertTest, DuplicatesWhatDisplaysTheSameTexts) {
    const std::tuple<Text, Text, bool> cases[]{
        {contextOf(u"1234"), contextOf(u"1234"), true},
        {u"no object", uR"({"category":"without title"})", true},
        {contextOf(u"12345"), contextOf(u"12345"), false},
        {contextOf(u"12"), contextOf(u"21"), false},
        {contextOf(u"12"), contextOf(u"1"), false},
        {contextOf(u"", u"t"), contextOf(u"", u"T"), false},
        {contextOf(u"", u"t", u"d"), contextOf(u"", u"t", u"d "), false},
    };
    for (const auto& [one, other, duplicates] : cases)
        EXPECT_EQ(makeAlert(u"1", one)->isDuplicateOf(*makeAlert(u"2", other)), duplicates)
            << testing::PrintToString(one) << testing::PrintToString(other);
}

TEST_F(AlertTest, AsksItsViewerOnceItHasOneAndNeverTwice) {
    EXPECT_FALSE(makeAlert(u"{1}")->show());
    const auto alert = alertWithViewer(u"{1}");
    EXPECT_FALSE(alert->isStarted());
    EXPECT_FALSE(alert->waitForOutcome(100));
    EXPECT_FALSE(alert->dismiss());
    viewerAnswers(u"Show", {u"", u"", MODULE_STATUS_TIMEOUT});
    EXPECT_FALSE(alert->show());
    EXPECT_TRUE(alert->isStarted());
    EXPECT_TRUE(alert->show());
    viewerAnswers(u"Delete", {u"Brevant.Alert.{1}.Dismissed.x", u""});
    publish(u"{1}.Failed.y");
    EXPECT_FALSE(alert->dismiss());
    const auto requests = bus.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].payload + requests[1].payload, alert->getInfo().toJson());
    for (const FakeBus::Sent& request : requests)
        EXPECT_TRUE(request.sender == u"Brevant" && request.timeout == 90000 && request.alternate);
    EXPECT_EQ(Support::eventRow(telemetry.events().back()),
              u"Brevant.Alert.Dismissed Vok Dismissed true true Brevant Dismissal {1} - - V");
}

TEST_F(AlertTest, WhoseViewerFailsIsReportedAndAnnouncedAsFailed) {
    bus.failNext("requestAlternate", MODULE_STATUS_INVALID_HANDLE);
    const struct {
        Text what;
        FakeBus::Answer answer;
        Text logged, event;
    } cases[]{
        {u"Show", {}, u"Failed to make request, status: MODULE_STATUS_INVALID_HANDLE", u"Show 2147483662"},
        {u"Delete",
         {u"", u"", MODULE_STATUS_TIMEOUT},
         u"Request failed with status 2.",
         u"Dismiss 2147483661"},
        {u"Show",
         {u"", u"", MODULE_STATUS_INVALID_STATE},
         u"Request failed with status 3.",
         u"Show 2147483654"},
        {u"Show",
         {u"Brevant.Alert.a.Shown.y", u""},
         u"Received invalid response message: Brevant.Alert.a.Shown.y, expected: Brevant.Alert.a.Shown.x.",
         u"Show 2147483650"},
    };
    for (const auto& [what, answer, logged, event] : cases) {
        const bool shows = what == u"Show";
        const auto alert = shows ? alertWithViewer(u"a") : shownAlert(u"a");
        viewerAnswers(what, answer);
        EXPECT_FALSE(shows ? alert->show() : alert->dismiss());
        EXPECT_TRUE(log.has(4, logged)) << testing::PrintToString(logged);
        EXPECT_EQ(Support::eventRow(telemetry.events().back()),
                  u"Brevant.Failed Vok Failed false false Brevant Failure a " + event + u" V");
        const FakeBus::Sent announcement = bus.published().back();
        EXPECT_EQ(announcement.name + announcement.payload, u"Brevant.Alert.a.Failed.x");
        EXPECT_FALSE(announcement.sender.empty());
    }
    EXPECT_EQ(bus.published().size(), std::size(cases));
}

TEST_F(AlertTest, TakesTheOutcomeOfItsOwnShowingWhateverItsId) {
    const std::tuple<Text, Text, bool> cases[]{
        {u"{1}", u"{1}.Dismissed.x", true},
        {u"}9,{", u"}9,{.Failed.x", true},
        {u"{1}", u"{1}.Dismissed.xy", false},
        {u"{1}", u"{2}.Dismissed.x", false},
        // No patterns, or none that the engine is trusted with.
        {u"a(b", u"a(b.Failed.x", false},
        {u"(a*)*b", Text(100000, u'a') + u".Failed.x", false},
        {Text(100000, u'('), u"(.Failed.x", false},
    };
    for (const auto& [id, outcome, completes] : cases) {
        const auto alert = shownAlert(id);
        publish(outcome);
        EXPECT_EQ(alert->waitForOutcome(0), completes);
        const size_t asked = bus.callCount("requestAlternate");
        EXPECT_EQ(alert->dismiss(), completes);
        EXPECT_EQ(bus.callCount("requestAlternate") == asked, completes);
    }
}

TEST_F(AlertTest, AWaitThatEndsWithoutAnOutcomeClosesTheAlert) {
    const auto alert = shownAlert();
    EXPECT_FALSE(alert->waitForOutcome(60));
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    publish(u"{1}.Dismissed.x");
    EXPECT_FALSE(alert->waitForOutcome(-1));
    EXPECT_EQ(clock.now(), 1h + 60s);
    viewerAnswers(u"Delete", {u"Brevant.Alert.{1}.Dismissed.x", u""});
    EXPECT_FALSE(alert->dismiss());
    EXPECT_EQ(clock.now(), 1h + 90s);
    EXPECT_TRUE(log.has(2, u"Subscription not found. Alias: Brevant.Alert.\\{1\\}(.Dismissed.|.Failed.)x."));
}

TEST_F(AlertTest, CanBeReleasedWhileItsOutcomeArrives) {
    const std::jthread user([&](const std::stop_token& end) {
        while (!end.stop_requested())
            publish(u"{1}.Dismissed.x");
    });
    for (int i = 0; i < 1000; ++i)
        shownAlert();
}

}  // namespace
