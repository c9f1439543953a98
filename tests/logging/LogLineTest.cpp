#include <gtest/gtest.h>

#include "logging/LogLine.h"

namespace {

using namespace ETWLogging;
using namespace ETWLogging::internal;

constexpr Platform::CalendarTime evening{2026, 1, 2, 18, 4, 5};

std::u16string lineOf(uint32_t options, const LogRecord& record,
                      const Platform::CalendarTime& time = evening) {
    std::u16string line;
    EXPECT_EQ(buildLogLine({u"Brevant.dll", options, 42}, record, 7, time, line), lineSuccess);
    return line;
}

TEST(LogLine, CarriesTheFieldsThatTheOptionsAskForCutToTheirWidth) {
    const LogRecord record{4, u"dll\\SharedLibrary", u"Tavix::SharedLibrary::load", 12, u"It broke."};
    EXPECT_EQ(lineOf(4 | 8 | 16 | 32, record),
              u"01/02/2026 06:04:05 PM$ -- (Error)$ [    Brevant.dll]$ [PID:   42 TID:    7]$ "
              u"[       SharedLibrary:   12]$ [              Tavix::SharedLibrary::load()]$ It broke.\r\n");

    const std::u16string name = u"0123456789012345678901234567890123456789tail";
    std::u16string line;
    ASSERT_EQ(buildLogLine({name, 8 | 16 | 32, 1}, {1, name, name, 123456, u"m"}, 1, evening, line),
              lineSuccess);
    EXPECT_EQ(line,
              u"01/02/2026 06:04:05 PM$ -- (Normal)$ [012345678901234]$ [01234567890123456789:123456]$ "
              u"[0123456789012345678901234567890123456789()]$ m\r\n");
}

TEST(LogLine, CutsNoFieldInsideAPairOfSurrogates) {
    const auto ending = [](size_t units) { return std::u16string(units - 1, u'x') + u"\U0001F514"; };
    std::u16string line;
    const std::u16string logName = ending(15), source = ending(20), function = ending(40);
    ASSERT_EQ(buildLogLine({logName, 8 | 16 | 32, 1}, {1, source, function, 1, u"m"}, 1, evening, line),
              lineSuccess);
    EXPECT_EQ(line.substr(line.find(u'[')), u"[ " + logName.substr(0, 14) + u"]$ [ " + source.substr(0, 19) +
                                                u":    1]$ [ " + function.substr(0, 39) + u"()]$ m\r\n");
}

TEST(LogLine, EndsOnceWhateverTheMessageEndsWith) {
    for (const auto& [message, end] : {std::pair(u"a\n", u"$ a\n"), {u"a\r", u"$ a\r\r\n"}, {u"", u"$ \r\n"}})
        EXPECT_TRUE(lineOf(0, {3, u"", u"", 0, message}).ends_with(end));
}

TEST(LogLine, WritesHoursOnATwelveHourClock) {
    std::u16string written;
    for (const uint16_t hour : {0, 11, 12, 23})
        written += lineOf(0, {3, u"", u"", 0, u"m"}, {2026, 12, 31, hour, 5, 0}).substr(11, 12);
    EXPECT_EQ(written, u"12:05:00 AM$11:05:00 AM$12:05:00 PM$11:05:00 PM$");
}

}  // namespace
