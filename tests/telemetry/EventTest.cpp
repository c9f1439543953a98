#include <algorithm>
#include <gtest/gtest.h>

#include "library/CommonReplacements.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"
#include "telemetry/CEvent.h"
#include "telemetry/CJSONFormatter.h"
#include "text/Utf.h"

namespace {

using Tavix::Analytics::v2::CEvent;
using Dimensions = Tavix::Analytics::DimensionMap;

Dimensions sent(CEvent& event) {
    TelemetryCapture capture;
    event.Send();
    const auto events = capture.events();
    return events.size() == 1 ? events.front() : Dimensions();
}

void removeStamps(Dimensions& dimensions) {
    std::erase_if(dimensions, [](const auto& entry) { return entry.first.starts_with(u"__"); });
    dimensions.erase(u"Tracker.Type");
}

TEST(Event, CarriesWhatWasAddedInAChain) {
    const std::u16string alert = u"{1}";
    CEvent event(u"Brevant.Failed");
    event.Category(u"Vok").Action(std::u16string(u"Failed")).Label(u"Show").Value(4294967295u);
    event.Add(u"Hit.GUID", alert).Add(u"Interactive", u"false");
    Dimensions dimensions = sent(event);
    removeStamps(dimensions);
    EXPECT_EQ(dimensions, (Dimensions{{u"UniqueIdentifier", u"Brevant.Failed"},
                                      {u"Event.Category", u"Vok"},
                                      {u"Event.Action", u"Failed"},
                                      {u"Event.Label", u"Show"},
                                      {u"Event.Value", u"4294967295"},
                                      {u"Hit.GUID", u"{1}"},
                                      {u"Interactive", u"false"}}));
}

TEST(Event, ReplacesAValueAndForgetsAnEmptyOne) {
    CEvent event(u"E");
    event.Add(u"a", u"1").Add(u"a", u"2").Add(u"b", u"1").Add(u"b", u"").Add(u"c", nullptr).Add(u"", u"x");
    event.Label(u"gone").Label(static_cast<const char16_t*>(nullptr));
    Dimensions dimensions = sent(event);
    removeStamps(dimensions);
    EXPECT_EQ(dimensions, (Dimensions{{u"UniqueIdentifier", u"E"}, {u"a", u"2"}}));
}

TEST(Event, RefusesPrivateAndNamelessDimensionsAndLogsIt) {
    LogCapture log;
    CEvent event(u"E");
    event.Add(u"__x", u"1").Add(u"__", std::u16string(u"2")).Add(u"_y", u"3").Add(nullptr, u"4");
    Dimensions dimensions = sent(event);
    removeStamps(dimensions);
    EXPECT_EQ(dimensions, (Dimensions{{u"UniqueIdentifier", u"E"}, {u"_y", u"3"}}));
    EXPECT_TRUE(log.has(2, u"Illegal request to add private dimension ('__x ='1') - Ignored"));
    EXPECT_TRUE(log.has(2, u"Illegal request to add private dimension ('__ ='2') - Ignored"));
    EXPECT_TRUE(log.has(2, u"Adding dimension with a [null] name - ignored."));
}

TEST(Event, IsStampedWithTimeCallerAndTransport) {
    CEvent event(u"E");
    const Dimensions dimensions = sent(event);
    ASSERT_EQ(dimensions.size(), 7u);
    EXPECT_EQ(dimensions.at(u"Tracker.Type"), u"event");
    EXPECT_EQ(dimensions.at(u"__track.api.version"), u"1.1.0");
    EXPECT_EQ(dimensions.at(u"__transport.name"), u"Capture v7");
    EXPECT_TRUE(std::ranges::all_of(dimensions.at(u"__record.created.seconds"),
                                    [](char16_t unit) { return unit >= u'0' && unit <= u'9'; }));

    std::u16string shape = dimensions.at(u"__record.created");
    std::ranges::replace_if(
        shape, [](char16_t unit) { return unit >= u'0' && unit <= u'9'; }, u'9');
    EXPECT_EQ(shape, u"9999-99-99 99:99:99Z");

    std::u16string path = u"$(App.Path)";
    Ferrow::CommonReplacements().resolvePath(path);
    const std::u16string caller = dimensions.at(u"__caller.name");
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(caller, u'\\')),
              2 * static_cast<size_t>(std::ranges::count(path, u'\\')));
    EXPECT_NE(caller.find(u"\\\\"), caller.npos);
}

TEST(Formatter, WritesOneFlatObjectAndEscapesSeparatorsOnceMore) {
    const Tavix::Analytics::CJSONFormatter formatter;
    std::u16string text = u"before";
    EXPECT_FALSE(formatter.Format({}, text));
    EXPECT_EQ(text, u"before");
    EXPECT_TRUE(formatter.Format({{u"__caller.name", u"C:\\\\A\\\\b.exe"}}, text));
    EXPECT_EQ(text, u"{\"__caller.name\":\"C:\\\\\\\\A\\\\\\\\b.exe\"}");
    EXPECT_TRUE(formatter.Format({{u"a\"b", u"line\nbreak"}}, text));
    EXPECT_EQ(text, u"{\"a\\\"b\":\"line\\nbreak\"}");
}

}  // namespace
