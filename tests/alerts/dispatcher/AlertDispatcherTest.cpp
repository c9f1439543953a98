#include <gtest/gtest.h>
#include <optional>

#include "alerts/alert/Alert.h"
#include "alerts/dispatcher/AlertDispatcher.h"
#include "alerts/viewers/AlertViewer.h"
#include "alerts/viewers/ViewerRegistrar.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/FakePlugins.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

struct FakeAlert : Vok::Alert {
    using Alert::Alert;
    bool show() override { return accepts && getContent() == u"content"; }
    bool waitForOutcome(int64_t seconds) override {
        waited = seconds;
        return false;
    }
    bool dismiss() override {
        ++dismissals;
        return true;
    }

    bool accepts = true;
    int dismissals = 0;
    int64_t waited = 0;
};

class AlertDispatcherTest : public testing::Test {
protected:
    AlertDispatcherTest() { viewers->addViewer(u"Brevant/Viewer/A"); }

    static Vok::AlertInfo describe(const std::u16string& id, std::vector<std::u16string> viewerIds) {
        Vok::AlertInfo info;
        info.id = id;
        info.instanceId = u"i1";
        info.product = u"P";
        info.preferredViewer = std::move(viewerIds);
        info.context = u"{}";
        return info;
    }
    std::shared_ptr<FakeAlert> makeAlert(uint32_t timeout = 30, bool withViewer = true) {
        Vok::AlertInfo info = describe(u"a1", {u"A"});
        info.timeout = timeout;
        const auto alert = std::make_shared<FakeAlert>(std::move(info), client);
        if (withViewer)
            alert->setViewer(viewers->findViewer(u"A"));
        return alert;
    }
    bool show(std::shared_ptr<Vok::Alert> alert) { return dispatcher->show(alert); }
    // The latest event, in eventRow's form.
    std::u16string event() const {
        const auto events = telemetry.events();
        return events.empty() ? u"" : Support::eventRow(events.back());
    }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    std::shared_ptr<Tavix::MessageBusClient> client = bus.makeClient();
    std::shared_ptr<Vok::ViewerRegistrar> viewers = std::make_shared<Vok::ViewerRegistrar>(client);
    std::shared_ptr<Support::FakePlugins> plugins = std::make_shared<Support::FakePlugins>(client);
    std::optional<Vok::AlertDispatcher> dispatcher{std::in_place, viewers, plugins, client};
};

const std::u16string failed = u"Brevant.Failed Vok Failed false false Brevant Failure ";

TEST_F(AlertDispatcherTest, LetsThePluginSuppressTheAlertOrChooseAmongTheRegisteredViewers) {
    viewers->addViewer(u"Brevant/Viewer/B");
    const std::u16string toB = describe(u"p1", {u"x", u"B", u"A"}).toJson();
    const std::u16string unprocessed =
        u"Failed to process the alert. Continuing with unprocessed input data.";
    const struct {
        uint32_t status, suppress;
        std::u16string processed, viewer, event, warning;
    } cases[]{
        {0, 2, toB, u"B", u"", u""},
        {7, 1, toB, u"", u"Brevant.Alert.Suppressed Vok Suppressed false false Brevant Suppressed a1 - - P",
         u""},
        {0x80000003, 0, toB, u"A", failed + u"a1 pluginProcessFailed 2147483651 -", unprocessed},
        {0, 0, u"", u"A", failed + u"a1 pluginProcessFailed 0 -", unprocessed},
        {0, 0, u"{\"id\":\"p2\",\"instanceId\":7}", u"", failed + u"p2 parseFailed 0 -",
         u"Failed to parse alert info."},
        {0, 0, describe(u"p3", {u"x"}).toJson(), u"", failed + u"p3 noViewerRegistered 0 -",
         u"No viewer registered for alert: p3."},
    };
    for (const auto& one : cases) {
        plugins->status = one.status;
        plugins->suppress = one.suppress;
        plugins->processed = one.processed;
        const auto alert = makeAlert(30, false);
        const std::u16string text = alert->getInfo().toJson();
        const size_t warnings = log.records().size();
        EXPECT_EQ(dispatcher->process(alert), !one.viewer.empty());
        EXPECT_EQ(alert->getViewer(), viewers->findViewer(one.viewer));
        EXPECT_EQ(plugins->asked(), u"P " + text);
        EXPECT_EQ(alert->getInfo().toJson(), text);
        EXPECT_EQ(event(), one.event);
        EXPECT_EQ(log.has(2, one.warning), !one.warning.empty());
        EXPECT_EQ(log.records().size() - warnings, !one.warning.empty());
    }
}

TEST_F(AlertDispatcherTest, ShowsWithThePluginsContentAndDismissesWhatWasShownBefore) {
    const auto first = makeAlert(), second = makeAlert(30, false), refused = makeAlert();
    const std::u16string text = first->getInfo().toJson();
    EXPECT_TRUE(show(first));
    EXPECT_EQ(plugins->asked(), u"P " + text + u" A");
    EXPECT_FALSE(show(nullptr));
    EXPECT_EQ(first->dismissals, 0);
    EXPECT_TRUE(show(second));
    EXPECT_EQ(first->dismissals, 1);
    EXPECT_EQ(plugins->asked(), u"P " + text + u" KOV");
    EXPECT_TRUE(log.has(2, u"No viewer assinged for alertId : a1. Defaulting to KOV"));
    refused->accepts = false;
    EXPECT_FALSE(show(refused));
    EXPECT_FALSE(dispatcher->waitForCurrent());
    EXPECT_FALSE(dispatcher->dismissCurrent());
    show(first);
    dispatcher.reset();
    EXPECT_EQ(first->dismissals, 2);
}

TEST_F(AlertDispatcherTest, WaitsForTheDisplayTimeAndHalfAMinuteAndReportsATimeOut) {
    for (const auto& [timeout, seconds] : std::initializer_list<std::pair<uint32_t, int64_t>>{
             {0, 30}, {0xFFFFFFE0, 0xFFFFFFFE}, {0xFFFFFFE1, 0xFFFFFFE1}, {0xFFFFFFFF, 0xFFFFFFFF}}) {
        const auto alert = makeAlert(timeout);
        show(alert);
        EXPECT_FALSE(dispatcher->waitForCurrent());
        EXPECT_EQ(alert->waited, seconds);
        EXPECT_EQ(alert->dismissals, 0);
    }
    EXPECT_EQ(event(), u"Brevant.Alert.TimeOut Vok Time Out false false Brevant TimeOut a1 - - A");
}

}  // namespace
