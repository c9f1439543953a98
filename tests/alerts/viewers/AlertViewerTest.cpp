#include <gtest/gtest.h>

#include "alerts/viewers/AlertViewer.h"
#include "support/EventRow.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

class AlertViewerTest : public testing::Test {
protected:
    // The viewer answers "Show" or "Delete" like this.
    bool ask(const std::u16string& what, const FakeBus::Answer& answer) {
        bus.answer(u"Brevant.Viewer.V." + what + u".i1",
                   [answer](const auto&) { return std::optional(answer); });
        return what == u"Show" ? viewer.show(u"{\"id\":\"a1\"}", u"a1", u"i1") : viewer.dismiss(u"a1", u"i1");
    }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    Vok::AlertViewer viewer{u"V", bus.makeClient()};
};

TEST_F(AlertViewerTest, AsksTheViewerAndReportsWhatItConfirms) {
    EXPECT_TRUE(ask(u"Show", {u"Brevant.Alert.a1.Shown.i1", u"ignored"}));
    EXPECT_TRUE(ask(u"Delete", {u"Brevant.Alert.a1.Dismissed.i1", u""}));

    const auto requests = bus.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].payload + requests[1].payload, u"{\"id\":\"a1\"}");
    for (const FakeBus::Sent& request : requests)
        EXPECT_TRUE(request.sender == u"Brevant" && request.timeout == 90000 && request.alternate);
    EXPECT_TRUE(bus.published().empty());
    EXPECT_EQ(Support::eventRow(telemetry.events().at(0)),
              u"Brevant.Alert.Shown Vok Shown true false Brevant Shown a1 - - V");
    EXPECT_EQ(Support::eventRow(telemetry.events().at(1)),
              u"Brevant.Alert.Dismissed Vok Dismissed true true Brevant Dismissal a1 - - V");
}

TEST_F(AlertViewerTest, ReportsAFailureAndAnnouncesTheAlertAsFailed) {
    bus.failNext("requestAlternate", MODULE_STATUS_INVALID_HANDLE);
    const struct {
        std::u16string what;
        uint32_t status;
        std::u16string name, logged, event;
    } cases[]{
        {u"Show", 0, u"", u"Failed to make request, status: MODULE_STATUS_INVALID_HANDLE",
         u"Show 2147483662"},
        {u"Delete", MODULE_STATUS_TIMEOUT, u"", u"Request failed with status 2.", u"Dismiss 2147483661"},
        {u"Show", MODULE_STATUS_INVALID_STATE, u"", u"Request failed with status 3.", u"Show 2147483654"},
        {u"Show", 0, u"Brevant.Alert.a1.Shown.i2",
         u"Received invalid response message: Brevant.Alert.a1.Shown.i2, expected: "
         u"Brevant.Alert.a1.Shown.i1.",
         u"Show 2147483650"},
    };
    for (const auto& one : cases) {
        EXPECT_FALSE(ask(one.what, {one.name, u"", one.status}));
        EXPECT_TRUE(log.has(4, one.logged)) << testing::PrintToString(one.logged);
        EXPECT_EQ(Support::eventRow(telemetry.events().back()),
                  u"Brevant.Failed Vok Failed false false Brevant Failure a1 " + one.event + u" V");
        const FakeBus::Sent announcement = bus.published().back();
        EXPECT_EQ(announcement.name, u"Brevant.Alert.a1.Failed.i1");
        EXPECT_TRUE(announcement.payload.empty());
        EXPECT_FALSE(announcement.sender.empty());
    }
    EXPECT_EQ(bus.published().size(), std::size(cases));
}

}  // namespace
