#include <cstdint>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <brevant/status.h>

#include "alerts/alert/Alert.h"
#include "alerts/viewers/AlertViewer.h"
#include "alerts/viewers/ViewerRegistrar.h"
#include "bus/MessageBusClient.h"
#include "processing/dispatcher/AlertDispatcher.h"
#include "processing/plugins/PluginRegistrar.h"
#include "settings/SettingsManagerClient.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

using BusClient = std::shared_ptr<Tavix::MessageBusClient>;

class FakePlugins : public Vok::PluginRegistrar {
public:
    explicit FakePlugins(const BusClient& client)
        : PluginRegistrar(std::make_shared<Tavix::SettingsManagerClient>(client)) {}

    uint32_t processAlert(const std::u16string& product, const std::u16string& alertText,
                          std::u16string& processedText, uint32_t* suppressFlag, std::u16string&) override {
        calls.push_back(product + u"/" + alertText);
        processedText = processed;
        *suppressFlag = suppress;
        return status;
    }
    uint32_t getAlertContent(const std::u16string& product, const std::u16string&,
                             const std::u16string& viewerId, std::u16string& contentText) override {
        calls.push_back(product + u"/" + viewerId);
        contentText = content;
        return status;
    }

    uint32_t status = MODULE_STATUS_SUCCESS;
    uint32_t suppress = 0;
    std::u16string processed;
    std::u16string content = u"content";
    std::vector<std::u16string> calls;
};

class FakeAlert : public Vok::Alert {
public:
    using Alert::Alert;
    bool show() override {
        contentWhenShown = getContent();
        return accepts;
    }
    bool waitForOutcome(int64_t seconds) override {
        waited.push_back(seconds);
        return outcome ? outcome->get_future().get() : false;
    }
    bool dismiss() override {
        ++dismissals;
        if (outcome)
            outcome->set_value(true);
        return accepts;
    }

    bool accepts = true;
    std::u16string contentWhenShown;
    std::vector<int64_t> waited;
    std::optional<std::promise<bool>> outcome;  // set by a dismissal; none: a wait ends without one
    int dismissals = 0;
};

class AlertDispatcherTest : public testing::Test {
protected:
    std::shared_ptr<FakeAlert> makeAlert(std::vector<std::u16string> viewerIds = {u"A"},
                                         const std::u16string& instanceId = u"i1", uint32_t timeout = 30) {
        Vok::AlertInfo info;
        info.id = u"a1";
        info.instanceId = instanceId;
        info.product = u"P";
        info.preferredViewer = std::move(viewerIds);
        info.context = u"{}";
        info.timeout = timeout;
        return std::make_shared<FakeAlert>(std::move(info), client);
    }

    // What a plugin makes of the alert: another id, so that events tell which record they are about.
    std::u16string processedFor(std::vector<std::u16string> viewerIds) {
        Vok::AlertInfo info;
        info.id = u"processed";
        info.context = u"{}";
        info.preferredViewer = std::move(viewerIds);
        return info.toJson();
    }

    std::shared_ptr<Vok::AlertViewer> registerViewer(const std::u16string& id) {
        viewers->addViewer(u"Brevant/Viewer/" + id);
        return viewers->findViewer(id);
    }

    // The only event so far, in eventRow's form.
    std::u16string onlyEvent() const {
        const auto events = telemetry.events();
        return events.size() == 1 ? Support::eventRow(events[0]) : u"";
    }
    static std::u16string failure(const std::u16string& alertId, const std::u16string& labelResultAndViewer) {
        return u"Brevant.Failed Vok Failed false false Brevant Failure " + alertId + u" " +
               labelResultAndViewer;
    }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    BusClient client = bus.makeClient();
    std::shared_ptr<Vok::ViewerRegistrar> viewers = std::make_shared<Vok::ViewerRegistrar>(client);
    std::shared_ptr<FakePlugins> plugins = std::make_shared<FakePlugins>(client);
    std::unique_ptr<Vok::AlertDispatcher> dispatcher =
        std::make_unique<Vok::AlertDispatcher>(viewers, plugins, client);
};

TEST_F(AlertDispatcherTest, AssignsTheFirstRegisteredViewerThatThePluginNames) {
    const auto viewer = registerViewer(u"A");
    registerViewer(u"B");
    plugins->processed = processedFor({u"x", u"A", u"B"});
    plugins->suppress = 2;
    const auto alert = makeAlert({u"B"});
    const std::u16string description = alert->getInfo().toJson();

    EXPECT_TRUE(dispatcher->process(alert));
    EXPECT_EQ(alert->getViewer(), viewer);
    EXPECT_EQ(plugins->calls, (std::vector<std::u16string>{u"P/" + description}));
    EXPECT_EQ(alert->getInfo().toJson(), description);
    EXPECT_TRUE(telemetry.events().empty());
}

TEST_F(AlertDispatcherTest, SuppressesEvenWhenThePluginFails) {
    registerViewer(u"A");
    plugins->suppress = 1;
    plugins->status = MODULE_STATUS_DATA_ERROR;
    EXPECT_FALSE(dispatcher->process(makeAlert()));
    EXPECT_EQ(onlyEvent(),
              u"Brevant.Alert.Suppressed Vok Suppressed false false Brevant Suppressed a1 - - P");
}

TEST_F(AlertDispatcherTest, FallsBackToTheAlertsOwnViewersWhenThePluginFails) {
    const auto viewer = registerViewer(u"A");
    plugins->processed = processedFor({});
    plugins->status = MODULE_STATUS_BUFFER_TOO_SMALL;
    const auto alert = makeAlert();
    EXPECT_TRUE(dispatcher->process(alert));
    EXPECT_EQ(alert->getViewer(), viewer);
    EXPECT_TRUE(log.has(2, u"Failed to process the alert. Continuing with unprocessed input data."));
    EXPECT_EQ(onlyEvent(), failure(u"a1", u"pluginProcessFailed 2147483651 -"));
}

TEST_F(AlertDispatcherTest, TakesAnEmptyProcessedTextForAFailure) {
    registerViewer(u"A");
    EXPECT_TRUE(dispatcher->process(makeAlert()));
    EXPECT_EQ(onlyEvent(), failure(u"a1", u"pluginProcessFailed 0 -"));
}

TEST_F(AlertDispatcherTest, RejectsAProcessedTextThatDoesNotParse) {
    plugins->processed = u"{\"id\":\"half\",\"instanceId\":7}";
    EXPECT_FALSE(dispatcher->process(makeAlert()));
    EXPECT_TRUE(log.has(2, u"Failed to parse alert info."));
    EXPECT_EQ(onlyEvent(), failure(u"half", u"parseFailed 0 -"));
}

TEST_F(AlertDispatcherTest, RejectsAnAlertWithoutARegisteredViewer) {
    plugins->processed = processedFor({u"A", u"B"});
    EXPECT_FALSE(dispatcher->process(makeAlert()));
    EXPECT_TRUE(log.has(2, u"No viewer registered for alert: processed."));
    EXPECT_EQ(onlyEvent(), failure(u"processed", u"noViewerRegistered 0 -"));
}

TEST_F(AlertDispatcherTest, ShowsWithThePluginsContentAndDismissesWhatWasShownBefore) {
    const auto first = makeAlert();
    first->setViewer(registerViewer(u"A"));
    EXPECT_TRUE(dispatcher->show(first));
    EXPECT_EQ(plugins->calls, (std::vector<std::u16string>{u"P/A"}));
    EXPECT_EQ(first->contentWhenShown, u"content");
    EXPECT_FALSE(dispatcher->show(nullptr));
    EXPECT_EQ(first->dismissals, 0);

    const auto second = makeAlert();
    EXPECT_TRUE(dispatcher->show(second));
    EXPECT_EQ(plugins->calls.back(), u"P/KOV");
    EXPECT_TRUE(log.has(2, u"No viewer assinged for alertId : a1. Defaulting to KOV"));
    EXPECT_EQ(first->dismissals, 1);

    dispatcher.reset();
    EXPECT_EQ(second->dismissals, 1);
}

TEST_F(AlertDispatcherTest, PublishesTheFailureWhenThereIsNoContent) {
    plugins->status = MODULE_STATUS_BUFFER_TOO_SMALL;
    const auto alert = makeAlert();
    alert->setViewer(registerViewer(u"A"));
    EXPECT_FALSE(dispatcher->show(alert));
    EXPECT_EQ(alert->contentWhenShown, u"");
    EXPECT_TRUE(log.has(4, u"Failed to get alert content for alert a1 from plugin for product: P"));
    EXPECT_EQ(onlyEvent(), failure(u"a1", u"getAlertContent 2147483651 A"));
    ASSERT_FALSE(bus.published().empty());
    EXPECT_EQ(bus.published().back().name, u"Brevant.Alert.a1.Failed.i1");
    EXPECT_NE(bus.published().back().sender, u"");
    EXPECT_TRUE(dispatcher->dismissCurrent());
}

TEST_F(AlertDispatcherTest, ForgetsAnAlertThatItsViewerRefuses) {
    const auto alert = makeAlert();
    alert->accepts = false;
    EXPECT_FALSE(dispatcher->show(alert));
    EXPECT_FALSE(dispatcher->waitForCurrent());
    EXPECT_FALSE(dispatcher->dismissCurrent());
    EXPECT_EQ(alert->dismissals, 0);
}

TEST_F(AlertDispatcherTest, WaitsForTheDisplayTimeAndHalfAMinuteAndReportsATimeOut) {
    const std::vector<std::pair<uint32_t, int64_t>> waits{
        {0, 30}, {30, 60}, {0xFFFFFFE0, 0xFFFFFFFE}, {0xFFFFFFE1, 0xFFFFFFE1}, {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto& [timeout, seconds] : waits) {
        const auto alert = makeAlert({}, u"i1", timeout);
        dispatcher->show(alert);
        EXPECT_FALSE(dispatcher->waitForCurrent());
        EXPECT_EQ(alert->waited, (std::vector<int64_t>{seconds}));
        EXPECT_EQ(alert->dismissals, 0);
    }
    const auto alert = makeAlert();
    alert->setViewer(registerViewer(u"A"));
    dispatcher->show(alert);
    dispatcher->waitForCurrent();
    ASSERT_EQ(telemetry.events().size(), waits.size() + 1);
    EXPECT_EQ(Support::eventRow(telemetry.events().back()),
              u"Brevant.Alert.TimeOut Vok Time Out false false Brevant TimeOut a1 - - A");
}

TEST_F(AlertDispatcherTest, ADeleteRequestForItsShowingEndsTheWait) {
    const auto alert = makeAlert();
    alert->outcome.emplace();
    dispatcher->show(alert);
    std::future<bool> wait = std::async(std::launch::async, [&] { return dispatcher->waitForCurrent(); });
    EXPECT_FALSE(dispatcher->dismissCurrentIf(u"a1"));
    EXPECT_FALSE(dispatcher->dismissCurrentIf(u"I1"));
    EXPECT_EQ(alert->dismissals, 0);
    EXPECT_TRUE(dispatcher->dismissCurrentIf(u"i1"));
    EXPECT_EQ(alert->dismissals, 1);
    // Either the wait began in time and got the outcome, or there was nothing left to wait for.
    const bool outcome = wait.get();
    EXPECT_EQ(outcome, !alert->waited.empty());
    EXPECT_FALSE(dispatcher->dismissCurrentIf(u"i1"));
}

}  // namespace
