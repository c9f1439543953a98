#include <atomic>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "alerts/alert/Alert.h"
#include "alerts/viewers/AlertViewer.h"
#include "bus/MessageBusClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using namespace std::chrono_literals;

// Stands still until it is advanced.
class ManualClock : public Platform::Clock {
public:
    Time now() const override { return Time(now_.load()); }
    bool waitUntil(Platform::ConditionVariable& condition, Platform::MutexLock& lock,
                   Time deadline) const override {
        if (now() >= deadline)
            return false;
        ++waits_;
        waits_.notify_all();
        condition.waitFor(lock, poll);
        return true;
    }

    // How often a waiter looks at the clock.
    std::chrono::milliseconds poll{1};

    void advance(std::chrono::nanoseconds duration) { now_ += duration.count(); }
    // Returns once a thread waits on this clock.
    void awaitWaiter() const { waits_.wait(0); }

private:
    std::atomic<int64_t> now_{std::chrono::nanoseconds(1h).count()};
    mutable std::atomic<uint32_t> waits_{0};
};

class FakeViewer : public Vok::AlertViewer {
public:
    explicit FakeViewer(std::shared_ptr<Tavix::MessageBusClient> client)
        : AlertViewer(u"V", std::move(client)) {}
    bool show(const std::u16string& payload, const std::u16string& alertId,
              const std::u16string& instanceId) override {
        shown.push_back(alertId + u"/" + instanceId + u"/" + payload);
        return accepts;
    }
    bool dismiss(const std::u16string& alertId, const std::u16string& instanceId) override {
        dismissed.push_back(alertId + u"/" + instanceId);
        return accepts;
    }

    bool accepts = true;
    std::vector<std::u16string> shown;
    std::vector<std::u16string> dismissed;
};

std::u16string contextOf(const std::vector<std::u16string>& actions, const std::u16string& title = u"t",
                         const std::u16string& details = u"d") {
    std::u16string list;
    for (const std::u16string& text : actions)
        list +=
            (list.empty() ? u"" : u",") + (u"{\"text\":\"" + text + u"\",\"defaultmessage\":{},\"id\":\"\"}");
    return u"{\"title\":\"" + title + u"\",\"defaultcontent\":\"c\",\"detailscontent\":\"" + details +
           u"\",\"actions\":[" + list + u"]}";
}

class AlertTest : public testing::Test {
protected:
    std::shared_ptr<Vok::Alert> makeAlert(const std::u16string& context = u"{}",
                                          const std::u16string& id = u"{1}", int32_t priority = 3) {
        Vok::AlertInfo info;
        info.id = id;
        info.instanceId = u"x";
        info.context = context;
        info.priority = priority;
        return std::make_shared<Vok::Alert>(std::move(info), bus.makeClient(), clock, grace);
    }
    std::shared_ptr<Vok::Alert> shownAlert() {
        const std::shared_ptr<Vok::Alert> alert = makeAlert();
        alert->setViewer(viewer);
        EXPECT_TRUE(alert->show());
        return alert;
    }

    bool duplicates(const std::u16string& context, const std::u16string& otherContext) {
        const auto alert = makeAlert(context);
        const auto other = makeAlert(otherContext, u"{2}");
        const bool verdict = alert->isDuplicateOf(*other);
        EXPECT_EQ(other->isDuplicateOf(*alert), verdict);
        EXPECT_TRUE(!verdict || alert->duplicateHash() == other->duplicateHash());
        return verdict;
    }

    static constexpr std::chrono::seconds grace{30};
    FakeBus bus;
    LogCapture log;
    ManualClock clock;
    std::shared_ptr<FakeViewer> viewer = std::make_shared<FakeViewer>(bus.makeClient());
};

TEST_F(AlertTest, PrecedesOnlyWhatIsLessUrgent) {
    const auto urgent = makeAlert(u"{}", u"a", 1);
    const auto other = makeAlert(u"{}", u"a", 2);
    EXPECT_TRUE(urgent->precedes(*other));
    EXPECT_FALSE(other->precedes(*urgent));
    EXPECT_FALSE(urgent->precedes(*urgent));
}

TEST_F(AlertTest, DuplicatesWhatDisplaysTheSameTexts) {
    EXPECT_TRUE(duplicates(contextOf({}), contextOf({})));
    EXPECT_TRUE(duplicates(contextOf({u"1", u"2", u"3", u"4"}), contextOf({u"1", u"2", u"3", u"4"})));
    EXPECT_FALSE(
        duplicates(contextOf({u"1", u"2", u"3", u"4", u"5"}), contextOf({u"1", u"2", u"3", u"4", u"5"})));
    EXPECT_FALSE(duplicates(contextOf({u"1", u"2"}), contextOf({u"2", u"1"})));
    EXPECT_FALSE(duplicates(contextOf({u"1", u"2"}), contextOf({u"1"})));
    EXPECT_FALSE(duplicates(contextOf({}, u"t"), contextOf({}, u"T")));
    EXPECT_FALSE(duplicates(contextOf({}, u"t", u"d"), contextOf({}, u"t", u"d ")));
    EXPECT_TRUE(duplicates(u"no object", u"{\"category\":\"without title\"}"));
    EXPECT_FALSE(makeAlert(contextOf({u"", u"", u"", u"", u""}))->canBeDuplicate());
}

TEST_F(AlertTest, ShowsOnceItHasAViewerAndNeverTwice) {
    const auto alert = makeAlert();
    EXPECT_FALSE(alert->show());
    EXPECT_FALSE(alert->isStarted());
    EXPECT_FALSE(alert->waitForOutcome(100));
    EXPECT_FALSE(alert->dismiss());

    alert->setViewer(viewer);
    alert->setContent(u"from the plugin");
    EXPECT_TRUE(alert->show());
    EXPECT_TRUE(alert->isStarted());
    viewer->accepts = false;
    EXPECT_TRUE(alert->show());
    EXPECT_EQ(viewer->shown, (std::vector<std::u16string>{u"{1}/x/" + alert->getInfo().toJson()}));
    EXPECT_NE(viewer->shown[0].find(u"from the plugin"), std::u16string::npos);
    EXPECT_EQ(bus.subscriptionCount(), 1u);
    EXPECT_FALSE(alert->dismiss());
    EXPECT_EQ(clock.now(), 1h);
}

TEST_F(AlertTest, TakesDismissedAndFailedOfItsOwnShowingForItsOutcome) {
    for (const char16_t* outcome : {u"Brevant.Alert.{1}.Dismissed.x", u"Brevant.Alert.{1}.Failed.x"}) {
        const auto alert = shownAlert();
        for (const char16_t* other : {u"Brevant.Alert.{1}.Shown.x", u"Brevant.Alert.{1}.Dismissed.y",
                                      u"Brevant.Alert.{2}.Dismissed.x", u"Brevant.Alert.{1}.Dismissed.xy"})
            bus.deliver(other, u"");
        EXPECT_FALSE(alert->waitForOutcome(0));

        const auto completed = shownAlert();
        bus.deliver(outcome, u"");
        EXPECT_TRUE(completed->waitForOutcome(100));
        EXPECT_TRUE(completed->dismiss());
    }
    EXPECT_TRUE(viewer->dismissed.empty());
}

TEST_F(AlertTest, WaitEndsAtItsDeadlineAndClosesTheSubscription) {
    const auto alert = shownAlert();
    EXPECT_FALSE(alert->waitForOutcome(0));
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    bus.deliver(u"Brevant.Alert.{1}.Dismissed.x", u"");
    EXPECT_FALSE(alert->waitForOutcome(std::numeric_limits<int64_t>::min()));

    const auto waiting = shownAlert();
    std::atomic<bool> ended{false};
    std::thread waiter([&] {
        EXPECT_FALSE(waiting->waitForOutcome(60));
        ended = true;
    });
    clock.awaitWaiter();
    clock.advance(59s);
    EXPECT_FALSE(ended);
    clock.advance(1s);
    waiter.join();
}

TEST_F(AlertTest, OneOutcomeEndsTheWaitAndADismissalBesideIt) {
    clock.poll = 1h;  // nothing but the outcome wakes a waiter
    const auto alert = shownAlert();
    std::thread waiter([&] { EXPECT_TRUE(alert->waitForOutcome(std::numeric_limits<int64_t>::max())); });
    std::thread dismisser([&] { EXPECT_TRUE(alert->dismiss()); });
    clock.awaitWaiter();
    bus.deliver(u"Brevant.Alert.{1}.Dismissed.x", u"");
    waiter.join();
    dismisser.join();
}

TEST_F(AlertTest, DismissalAfterAFailedWaitLastsTheWholeGraceForNothing) {
    const auto alert = shownAlert();
    EXPECT_FALSE(alert->waitForOutcome(-1));
    std::thread dismisser([&] { EXPECT_FALSE(alert->dismiss()); });
    clock.awaitWaiter();
    bus.deliver(u"Brevant.Alert.{1}.Dismissed.x", u"");
    clock.advance(grace);
    dismisser.join();
    EXPECT_EQ(viewer->dismissed, (std::vector<std::u16string>{u"{1}/x"}));
    EXPECT_TRUE(log.has(2, u"Subscription not found. Alias: Brevant.Alert.\\{1\\}(.Dismissed.|.Failed.)x."));
}

TEST_F(AlertTest, CanBeReleasedWhileItsOutcomeArrives) {
    std::atomic<bool> done{false};
    std::thread product([&] {
        while (!done)
            bus.deliver(u"Brevant.Alert.{1}.Dismissed.x", u"");
    });
    for (int i = 0; i < 200; ++i)
        shownAlert();
    done = true;
    product.join();
    EXPECT_EQ(bus.subscriptionCount(), 0u);
}

}  // namespace
