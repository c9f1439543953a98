#include <algorithm>
#include <gtest/gtest.h>

#include "library/CommonReplacements.h"
#include "support/LogCapture.h"
#include "support/TelemetryCapture.h"
#include "telemetry/CEvent.h"

namespace {

using Tavix::Analytics::v2::CEvent;
using Dimensions = Tavix::Analytics::DimensionMap;

Dimensions sent(CEvent& event) {
    TelemetryCapture capture;
    event.Send();
    const auto events = capture.events();
    return events.size() == 1 ? events.front() : Dimensions();
}

TEST(Event, CarriesWhatWasAddedInAChainAndReplacesForgetsAndRefusesDimensions) {
    LogCapture log;
    CEvent event(u"E");
    event.Category(u"Vok").Action(std::u16string(u"Failed")).Label(u"Show").Value(4294967295u);
    event.Add(u"a", u"1").Add(u"a", u"2").Add(u"b", u"1").Add(u"b", u"").Add(u"c", nullptr).Add(u"", u"x");
    event.Label(static_cast<const char16_t*>(nullptr));
    EXPECT_TRUE(log.records().empty());
    event.Add(u"__x", u"1").Add(u"__", std::u16string(u"2")).Add(u"_y", u"3").Add(nullptr, u"4");
    Dimensions dimensions = sent(event);
    std::erase_if(dimensions, [](const auto& entry) {
        return entry.first.starts_with(u"__") || entry.first == u"Tracker.Type";
    });
    EXPECT_EQ(dimensions, (Dimensions{{u"UniqueIdentifier", u"E"},
                                      {u"Event.Category", u"Vok"},
                                      {u"Event.Action", u"Failed"},
                                      {u"Event.Value", u"4294967295"},
                                      {u"a", u"2"},
                                      {u"_y", u"3"}}));
    EXPECT_TRUE(log.has(2, u"Illegal request to add private dimension ('__x ='1') - Ignored"));
    EXPECT_TRUE(log.has(2, u"Illegal request to add private dimension ('__ ='2') - Ignored"));
    EXPECT_TRUE(log.has(2, u"Adding dimension with a [null] name - ignored."));
}

TEST(Event, IsStampedWithTimeCallerAndTransport) {
    CEvent event(u"E");
    const Dimensions dimensions = sent(event);
    EXPECT_EQ(dimensions.at(u"__transport.name"), u"Capture v7");
    const auto isDigit = [](char16_t unit) { return unit >= u'0' && unit <= u'9'; };
    EXPECT_TRUE(std::ranges::all_of(dimensions.at(u"__record.created.seconds"), isDigit));
    std::u16string shape = dimensions.at(u"__record.created");
    std::ranges::replace_if(shape, isDigit, u'9');
    EXPECT_EQ(shape, u"9999-99-99 99:99:99Z");

    std::u16string path = u"$(App.Path)";
    Ferrow::CommonReplacements().resolvePath(path);
    for (size_t at = path.find(u'\\'); at != path.npos; at = path.find(u'\\', at + 2))
        path.insert(at, 1, u'\\');
    EXPECT_EQ(dimensions.at(u"__caller.name"), path);
}

}  // namespace
