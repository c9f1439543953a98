#include <gtest/gtest.h>
#include <thread>

#include "alerts/alert/Alert.h"
#include "alerts/viewers/AlertViewer.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/PassingClock.h"

namespace {

using namespace std::chrono_literals;
using Text = std::u16string;

class FakeViewer : public Vok::AlertViewer {
public:
    using AlertViewer::AlertViewer;
    bool show(const Text& payload, const Text& id, const Text& instance) override {
        asked += u"show " + id + u" " + instance + u" " + payload;
        return accepts;
    }
    bool dismiss(const Text& id, const Text& instance) override {
        asked += u"dismiss " + id + u" " + instance;
        return accepts;
    }
    bool accepts = true;
    Text asked;
};

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
    std::shared_ptr<Vok::Alert> shownAlert(const Text& id = u"{1}") {
        const auto alert = makeAlert(id);
        alert->setViewer(viewer);
        EXPECT_TRUE(alert->show());
        return alert;
    }
    void publish(const Text& outcome) { bus.deliver(u"Brevant.Alert." + outcome, u""); }

    FakeBus bus;
    LogCapture log;
    Support::PassingClock clock;
    std::shared_ptr<FakeViewer> viewer = std::make_shared<FakeViewer>(u"V", bus.makeClient());
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

TEST_F(AlertTest, ShowsOnceItHasAViewerAndNeverTwice) {
    const auto alert = makeAlert(u"{1}");
    EXPECT_FALSE(alert->show());
    EXPECT_FALSE(alert->isStarted());
    EXPECT_FALSE(alert->waitForOutcome(100));
    EXPECT_FALSE(alert->dismiss());
    alert->setViewer(viewer);
    viewer->accepts = false;
    EXPECT_FALSE(alert->show());
    EXPECT_TRUE(alert->isStarted());
    EXPECT_TRUE(alert->show());
    EXPECT_FALSE(alert->dismiss());
    EXPECT_EQ(viewer->asked, u"show {1} x " + alert->getInfo().toJson() + u"dismiss {1} x");
    EXPECT_EQ(bus.subscriptionCount(), 1u);
    EXPECT_EQ(clock.now(), 1h);
}

TEST_F(AlertTest, TakesTheOutcomeOfItsOwnShowingWhateverItsId) {
    const auto completes = [&](const Text& id, const Text& outcome) {
        const auto alert = shownAlert(id);
        publish(outcome);
        const bool completed = alert->waitForOutcome(0);
        viewer->asked.clear();
        EXPECT_EQ(alert->dismiss(), completed);
        EXPECT_EQ(viewer->asked.empty(), completed);
        return completed;
    };
    EXPECT_TRUE(completes(u"{1}", u"{1}.Dismissed.x"));
    EXPECT_TRUE(completes(u"}9,{", u"}9,{.Failed.x"));
    EXPECT_FALSE(completes(u"{1}", u"{1}.Dismissed.xy"));
    EXPECT_FALSE(completes(u"{1}", u"{2}.Dismissed.x"));
    // No patterns, or none that the engine is trusted with.
    EXPECT_FALSE(completes(u"a(b", u"a(b.Failed.x"));
    EXPECT_FALSE(completes(u"(a*)*b", Text(100000, u'a') + u".Failed.x"));
    EXPECT_FALSE(completes(Text(100000, u'('), u"(.Failed.x"));
}

TEST_F(AlertTest, AWaitThatEndsWithoutAnOutcomeClosesTheAlert) {
    const auto alert = shownAlert();
    EXPECT_FALSE(alert->waitForOutcome(60));
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    publish(u"{1}.Dismissed.x");
    EXPECT_FALSE(alert->waitForOutcome(-1));
    EXPECT_EQ(clock.now(), 1h + 60s);
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
