#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "text/Number.h"

namespace {

using namespace Ferrow;

constexpr uint64_t greatest64 = std::numeric_limits<uint64_t>::max();

// A number's value, or what is wrong with it.
template <class Parsed>
testing::AssertionResult is(const Parsed& parsed, decltype(parsed.value) value) {
    if (parsed.error == NumberError::none && parsed.value == value)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << parsed.value << ", error " << static_cast<int>(parsed.error);
}

TEST(Number, SkipsWhiteSpaceAndIgnoresWhatFollowsTheDigits) {
    for (const std::u16string_view text : {std::u16string_view(u" \t\n\v\f\r+12abc"), {u"12\0008", 4}})
        EXPECT_TRUE(is(parseSigned32(text), 12));
    EXPECT_TRUE(is(parseSigned32(u"0x10"), 0));
    EXPECT_TRUE(is(parseSigned32(std::u16string(100'000, u'0') + u"3"), 3));
    for (const std::u16string_view text :
         {u"", u"  ", u"-", u"+", u"x1", u"- 1", u"--1", u"+-1", u"\xFF11", u".5"}) {
        EXPECT_EQ(parseSigned32(text).error, NumberError::invalid);
        EXPECT_EQ(parseUnsigned64(text).error, NumberError::invalid);
    }
}

TEST(Number, EndsAtTheLimitsOfItsTypeAndUnsignedOnesTakeAMinusByWrappingRound) {
    EXPECT_TRUE(is(parseSigned32(u"2147483647"), INT32_MAX));
    EXPECT_TRUE(is(parseSigned32(u"-2147483648"), INT32_MIN));
    EXPECT_TRUE(is(parseSigned64(u"-9223372036854775808"), INT64_MIN));
    EXPECT_TRUE(is(parseUnsigned32(u"4294967295"), 4294967295u));
    EXPECT_TRUE(is(parseUnsigned32(u"-4294967295"), 1u));
    EXPECT_TRUE(is(parseUnsigned64(u"18446744073709551615"), greatest64));
    EXPECT_TRUE(is(parseUnsigned64(u"-1"), greatest64));
    for (const NumberError error :
         {parseSigned32(u"2147483648").error, parseSigned32(u"-2147483649").error,
          parseSigned64(u"9223372036854775808").error, parseUnsigned32(u"4294967296").error,
          parseUnsigned32(u"-4294967296").error, parseUnsigned64(u"18446744073709551616").error,
          parseUnsigned64(std::u16string(1000, u'9')).error, parseReal(u"1e400").error})
        EXPECT_EQ(error, NumberError::outOfRange);
}

TEST(Number, ThatIsRealIsReadInEveryUsualForm) {
    const std::pair<std::u16string_view, double> cases[]{
        {u" +1.5e3 rest", 1500.0}, {u"-.5,", -0.5}, {u"1e", 1.0},
        {u"0x1.8p1", 3.0},         {u"-0xg", 0.0},  {u"0x-1", 0.0},
        {u"-INF", -HUGE_VAL}};
    for (const auto& [text, value] : cases)
        EXPECT_TRUE(is(parseReal(text), value)) << testing::PrintToString(text);
    EXPECT_TRUE(std::isnan(parseReal(u"nan").value));
    for (const std::u16string_view text : {u"", u".", u"e5", u"+-1", u"--1", u"\u0661"})
        EXPECT_EQ(parseReal(text).error, NumberError::invalid);
}

TEST(Number, ThatIsRealIsWrittenInBothForms) {
    EXPECT_EQ(generalReal(1.0 / 3) + generalReal(-1e20), u"0.3333333333333333-1e+20");
    EXPECT_EQ(fixedReal(0.1), u"0.100000");
    EXPECT_EQ(fixedReal(-1e300).size(), 309u);
}

}  // namespace
