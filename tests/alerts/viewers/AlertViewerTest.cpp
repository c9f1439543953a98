#include <gtest/gtest.h>

#include "alerts/viewers/AlertViewer.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

class AlertViewerTest : public testing::Test {
protected:
    bool show(const FakeBus::Answer& answer) {
        bus.answer(u"Brevant.Viewer.V.Show.i1", [answer](const auto&) { return std::optional(answer); });
        return viewer.show(u"{\"id\":\"a1\"}", u"a1", u"i1");
    }
    bool dismiss(const FakeBus::Answer& answer) {
        bus.answer(u"Brevant.Viewer.V.Delete.i1", [answer](const auto&) { return std::optional(answer); });
        return viewer.dismiss(u"a1", u"i1");
    }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    Vok::AlertViewer viewer{u"V", bus.makeClient()};
};

TEST_F(AlertViewerTest, AsksTheViewerAndReportsWhatItConfirms) {
    EXPECT_TRUE(show({u"Brevant.Alert.a1.Shown.i1", u"ignored"}));
    EXPECT_TRUE(dismiss({u"Brevant.Alert.a1.Dismissed.i1", u""}));

    const auto requests = bus.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].payload, u"{\"id\":\"a1\"}");
    EXPECT_EQ(requests[1].payload, u"");
    for (const FakeBus::Sent& request : requests)
        EXPECT_TRUE(request.sender == u"Brevant" && request.timeout == 90000 && request.alternate);
    EXPECT_TRUE(bus.published().empty());
    EXPECT_EQ(Support::eventRow(telemetry.events().at(0)),
              u"Brevant.Alert.Shown Vok Shown true false Brevant Shown a1 - - V");
    EXPECT_EQ(Support::eventRow(telemetry.events().at(1)),
              u"Brevant.Alert.Dismissed Vok Dismissed true true Brevant Dismissal a1 - - V");
}

TEST_F(AlertViewerTest, ReportsAFailureAndAnnouncesTheAlertAsFailed) {
    const auto expectFailure = [&](const std::u16string& logged, const std::u16string& labelAndResult) {
        EXPECT_TRUE(log.has(4, logged));
        EXPECT_EQ(Support::eventRow(telemetry.events().back()),
                  u"Brevant.Failed Vok Failed false false Brevant Failure a1 " + labelAndResult + u" V");
        const FakeBus::Sent announcement = bus.published().back();
        EXPECT_EQ(announcement.name, u"Brevant.Alert.a1.Failed.i1");
        EXPECT_TRUE(announcement.payload.empty() && !announcement.sender.empty());
    };
    bus.failNext("requestAlternate", MODULE_STATUS_INVALID_HANDLE);
    EXPECT_FALSE(show({}));
    expectFailure(u"Failed to make request, status: MODULE_STATUS_INVALID_HANDLE", u"Show 2147483662");
    EXPECT_FALSE(dismiss({u"", u"", MODULE_STATUS_TIMEOUT}));
    expectFailure(u"Request failed with status 2.", u"Dismiss 2147483661");
    EXPECT_FALSE(show({u"", u"", MODULE_STATUS_INVALID_STATE}));
    expectFailure(u"Request failed with status 3.", u"Show 2147483654");
    EXPECT_FALSE(show({u"Brevant.Alert.a1.Shown.i2", u""}));
    expectFailure(
        u"Received invalid response message: Brevant.Alert.a1.Shown.i2, expected: Brevant.Alert.a1.Shown.i1.",
        u"Show 2147483650");
    EXPECT_EQ(bus.published().size(), 4u);
}

}  // namespace
