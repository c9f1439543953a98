#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>

#include <brevant/status.h>

#include "alerts/viewers/AlertViewer.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"

namespace {

using Dimensions = std::map<std::u16string, std::u16string>;

// What the broker says about an alert, without the stamps of whoever sends it.
Dimensions withoutStamps(const TelemetryCapture::Event& event) {
    Dimensions dimensions(event.begin(), event.end());
    std::erase_if(dimensions, [](const auto& dimension) {
        return dimension.first.starts_with(u"__") || dimension.first == u"Tracker.Type";
    });
    return dimensions;
}

class AlertViewerTest : public testing::Test {
protected:
    using Answer = FakeBus::Answer;

    void viewerAnswers(const std::u16string& topic, const Answer& answer) {
        bus.answer(topic, [answer](const FakeBus::Sent&) { return std::optional<Answer>(answer); });
    }

    FakeBus bus;
    LogCapture log;
    TelemetryCapture telemetry;
    Vok::AlertViewer viewer{u"V", bus.makeClient()};
};

TEST_F(AlertViewerTest, ShowCarriesTheDescriptionAndIsReportedAsShown) {
    viewerAnswers(u"Brevant.Viewer.V.Show.i1", {u"Brevant.Alert.a1.Shown.i1", u"ignored"});

    EXPECT_TRUE(viewer.show(u"{\"id\":\"a1\"}", u"a1", u"i1"));

    ASSERT_EQ(bus.requests().size(), 1u);
    const FakeBus::Sent request = bus.requests()[0];
    EXPECT_EQ(request.sender, u"Brevant");
    EXPECT_EQ(request.payload, u"{\"id\":\"a1\"}");
    EXPECT_EQ(request.timeout, 90000u);
    EXPECT_TRUE(request.alternate);
    EXPECT_TRUE(bus.published().empty());
    ASSERT_EQ(telemetry.events().size(), 1u);
    EXPECT_EQ(withoutStamps(telemetry.events()[0]), (Dimensions{{u"UniqueIdentifier", u"Brevant.Alert.Shown"},
                                                                {u"Event.Category", u"Vok"},
                                                                {u"Event.Action", u"Shown"},
                                                                {u"Interactive", u"true"},
                                                                {u"UserInitiated", u"false"},
                                                                {u"Sub.Category", u"Brevant"},
                                                                {u"Tertiary.Category", u"Shown"},
                                                                {u"Hit.GUID", u"a1"},
                                                                {u"Hit.Label.1", u"V"}}));
}

TEST_F(AlertViewerTest, DismissCarriesNothingAndIsReportedAsTheUsersDoing) {
    viewerAnswers(u"Brevant.Viewer.V.Delete.i1", {u"Brevant.Alert.a1.Dismissed.i1", u""});

    EXPECT_TRUE(viewer.dismiss(u"a1", u"i1"));

    ASSERT_EQ(bus.requests().size(), 1u);
    EXPECT_EQ(bus.requests()[0].payload, u"");
    EXPECT_TRUE(bus.requests()[0].alternate);
    EXPECT_TRUE(bus.published().empty());
    ASSERT_EQ(telemetry.events().size(), 1u);
    EXPECT_EQ(withoutStamps(telemetry.events()[0]),
              (Dimensions{{u"UniqueIdentifier", u"Brevant.Alert.Dismissed"},
                          {u"Event.Category", u"Vok"},
                          {u"Event.Action", u"Dismissed"},
                          {u"Interactive", u"true"},
                          {u"UserInitiated", u"true"},
                          {u"Sub.Category", u"Brevant"},
                          {u"Tertiary.Category", u"Dismissal"},
                          {u"Hit.GUID", u"a1"},
                          {u"Hit.Label.1", u"V"}}));
}

struct Failure {
    const char* name;
    std::optional<uint32_t> replyStatus;  // none: nobody subscribes
    std::u16string log;
    std::u16string result;
};

class FailedRequest : public AlertViewerTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailedRequest, IsReportedAndAnnouncesTheAlertAsFailed) {
    const Failure& failure = GetParam();
    if (failure.replyStatus) {
        viewerAnswers(u"Brevant.Viewer.V.Show.i1", {u"", u"", *failure.replyStatus});
        viewerAnswers(u"Brevant.Viewer.V.Delete.i1", {u"", u"", *failure.replyStatus});
    }

    EXPECT_FALSE(viewer.show(u"{}", u"a1", u"i1"));
    EXPECT_FALSE(viewer.dismiss(u"a1", u"i1"));

    EXPECT_EQ(log.count(4, failure.log), 2u);
    ASSERT_EQ(telemetry.events().size(), 2u);
    Dimensions expected{{u"UniqueIdentifier", u"Brevant.Failed"},
                        {u"Event.Category", u"Vok"},
                        {u"Event.Action", u"Failed"},
                        {u"Interactive", u"false"},
                        {u"UserInitiated", u"false"},
                        {u"Sub.Category", u"Brevant"},
                        {u"Tertiary.Category", u"Failure"},
                        {u"Hit.GUID", u"a1"},
                        {u"Event.Label", u"Show"},
                        {u"Hit.Result", failure.result},
                        {u"Hit.Label.1", u"V"}};
    EXPECT_EQ(withoutStamps(telemetry.events()[0]), expected);
    expected[u"Event.Label"] = u"Dismiss";
    EXPECT_EQ(withoutStamps(telemetry.events()[1]), expected);
    ASSERT_EQ(bus.published().size(), 2u);
    for (const FakeBus::Sent& announcement : bus.published()) {
        EXPECT_EQ(announcement.name, u"Brevant.Alert.a1.Failed.i1");
        EXPECT_EQ(announcement.payload, u"");
        EXPECT_NE(announcement.sender, u"");
    }
}

INSTANTIATE_TEST_SUITE_P(
    AlertViewer, FailedRequest,
    testing::Values(Failure{"NobodySubscribes", std::nullopt,
                            u"Failed to make request, status: MODULE_STATUS_NO_SUBSCRIBERS", u"2147483662"},
                    Failure{"TimedOut", MODULE_STATUS_TIMEOUT, u"Request failed with status 2.",
                            u"2147483661"},
                    Failure{"EndedByTheBus", MODULE_STATUS_INVALID_STATE, u"Request failed with status 3.",
                            u"2147483654"}),
    [](const auto& failure) { return std::string(failure.param.name); });

TEST_F(AlertViewerTest, TakesAnAnswerForAnotherShowingForAFailure) {
    const FakeBus::Answer shown{u"Brevant.Alert.a1.Shown.i2", u""};
    viewerAnswers(u"Brevant.Viewer.V.Show.i1", shown);
    viewerAnswers(u"Brevant.Viewer.V.Delete.i1", shown);

    EXPECT_FALSE(viewer.show(u"{}", u"a1", u"i1"));
    EXPECT_TRUE(log.has(4,
                        u"Received invalid response message: Brevant.Alert.a1.Shown.i2, expected: "
                        u"Brevant.Alert.a1.Shown.i1."));
    EXPECT_FALSE(viewer.dismiss(u"a1", u"i1"));
    EXPECT_TRUE(log.has(4,
                        u"Received invalid response message: Brevant.Alert.a1.Shown.i2, expected: "
                        u"Brevant.Alert.a1.Dismissed.i1."));
    EXPECT_EQ(bus.published().size(), 2u);
    ASSERT_EQ(telemetry.events().size(), 2u);
    EXPECT_EQ(telemetry.events()[0].at(u"Hit.Result"), u"2147483650");
}

}  // namespace
