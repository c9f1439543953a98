#include <gtest/gtest.h>
#include <optional>
#include <string>

#include <brevant/status.h>

#include "alerts/viewers/AlertViewer.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

using Support::eventRow;

class AlertViewerTest : public testing::Test {
protected:
    void viewerAnswers(const FakeBus::Answer& show, const FakeBus::Answer& dismissal) {
        bus.answer(u"Brevant.Viewer.V.Show.i1", [show](const FakeBus::Sent&) { return std::optional(show); });
        bus.answer(u"Brevant.Viewer.V.Delete.i1",
                   [dismissal](const FakeBus::Sent&) { return std::optional(dismissal); });
    }
    bool show() { return viewer.show(u"{\"id\":\"a1\"}", u"a1", u"i1"); }
    bool dismiss() { return viewer.dismiss(u"a1", u"i1"); }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    Vok::AlertViewer viewer{u"V", bus.makeClient()};
};

TEST_F(AlertViewerTest, AsksTheViewerAndReportsWhatItConfirms) {
    viewerAnswers({u"Brevant.Alert.a1.Shown.i1", u"ignored"}, {u"Brevant.Alert.a1.Dismissed.i1", u""});
    EXPECT_TRUE(show());
    EXPECT_TRUE(dismiss());

    const auto requests = bus.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].payload, u"{\"id\":\"a1\"}");
    EXPECT_EQ(requests[1].payload, u"");
    for (const FakeBus::Sent& request : requests) {
        EXPECT_EQ(request.sender, u"Brevant");
        EXPECT_EQ(request.timeout, 90000u);
        EXPECT_TRUE(request.alternate);
    }
    EXPECT_TRUE(bus.published().empty());
    const auto events = telemetry.events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(eventRow(events[0]), u"Brevant.Alert.Shown Vok Shown true false Brevant Shown a1 - - V");
    EXPECT_EQ(eventRow(events[1]),
              u"Brevant.Alert.Dismissed Vok Dismissed true true Brevant Dismissal a1 - - V");
}

TEST_F(AlertViewerTest, ReportsAFailureAndAnnouncesTheAlertAsFailed) {
    const std::u16string row = u"Brevant.Failed Vok Failed false false Brevant Failure a1 ";
    const auto expectFailure = [&](const std::u16string& text, const std::u16string& result) {
        const size_t before = telemetry.events().size();
        EXPECT_FALSE(show());
        EXPECT_FALSE(dismiss());
        EXPECT_EQ(log.count(4, text), 2u);
        const auto events = telemetry.events();
        ASSERT_EQ(events.size(), before + 2);
        EXPECT_EQ(eventRow(events[before]), row + u"Show " + result + u" V");
        EXPECT_EQ(eventRow(events[before + 1]), row + u"Dismiss " + result + u" V");
    };
    expectFailure(u"Failed to make request, status: MODULE_STATUS_NO_SUBSCRIBERS", u"2147483662");
    viewerAnswers({u"", u"", MODULE_STATUS_TIMEOUT}, {u"", u"", MODULE_STATUS_TIMEOUT});
    expectFailure(u"Request failed with status 2.", u"2147483661");
    viewerAnswers({u"", u"", MODULE_STATUS_INVALID_STATE}, {u"", u"", MODULE_STATUS_INVALID_STATE});
    expectFailure(u"Request failed with status 3.", u"2147483654");

    ASSERT_EQ(bus.published().size(), 6u);
    for (const FakeBus::Sent& announcement : bus.published()) {
        EXPECT_EQ(announcement.name, u"Brevant.Alert.a1.Failed.i1");
        EXPECT_EQ(announcement.payload, u"");
        EXPECT_NE(announcement.sender, u"");
    }
}

TEST_F(AlertViewerTest, TakesAnAnswerForAnotherShowingForAFailure) {
    viewerAnswers({u"Brevant.Alert.a1.Shown.i2", u""}, {u"Brevant.Alert.a1.Shown.i1", u""});
    EXPECT_FALSE(show());
    EXPECT_TRUE(log.has(4,
                        u"Received invalid response message: Brevant.Alert.a1.Shown.i2, expected: "
                        u"Brevant.Alert.a1.Shown.i1."));
    EXPECT_FALSE(dismiss());
    EXPECT_EQ(telemetry.events().at(1).at(u"Hit.Result"), u"2147483650");
    EXPECT_EQ(bus.published().size(), 2u);
}

}  // namespace
