#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "text/Number.h"

namespace {

using namespace Ferrow;

TEST(Number, SkipsWhiteSpaceAndIgnoresWhatFollowsTheDigits) {
    EXPECT_EQ(parseSigned32(u" \t\n\v\f\r+12abc").value, 12);
    EXPECT_EQ(parseSigned32(u"-0").value, 0);
    EXPECT_EQ(parseSigned32(u"0x10").value, 0);
    EXPECT_EQ(parseSigned32(std::u16string_view(u"7\0"
                                                u"8",
                                                3))
                  .value,
              7);
    EXPECT_EQ(parseSigned32(std::u16string(100'000, u'0') + u"3").value, 3);
    for (const std::u16string_view text :
         {u"", u"  ", u"-", u"+", u"x1", u"- 1", u"--1", u"+-1", u"\xFF11", u".5"}) {
        EXPECT_EQ(parseSigned32(text).error, NumberError::invalid);
        EXPECT_EQ(parseUnsigned64(text).error, NumberError::invalid);
    }
}

TEST(Number, EndsAtTheLimitsOfItsType) {
    EXPECT_EQ(parseSigned32(u"2147483647").value, std::numeric_limits<int32_t>::max());
    EXPECT_EQ(parseSigned32(u"-2147483648").value, std::numeric_limits<int32_t>::min());
    EXPECT_EQ(parseSigned32(u"2147483648").error, NumberError::outOfRange);
    EXPECT_EQ(parseSigned32(u"-2147483649").error, NumberError::outOfRange);
    EXPECT_EQ(parseSigned64(u"-9223372036854775808").value, std::numeric_limits<int64_t>::min());
    EXPECT_EQ(parseSigned64(u"9223372036854775808").error, NumberError::outOfRange);
    EXPECT_EQ(parseUnsigned64(u"18446744073709551615").value, std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(parseUnsigned64(u"18446744073709551616").error, NumberError::outOfRange);
    EXPECT_EQ(parseUnsigned64(std::u16string(1000, u'9')).error, NumberError::outOfRange);
}

TEST(Number, ThatIsUnsignedTakesAMinusByWrappingRound) {
    EXPECT_EQ(parseUnsigned32(u"4294967295").value, 4294967295u);
    EXPECT_EQ(parseUnsigned32(u"4294967296").error, NumberError::outOfRange);
    EXPECT_EQ(parseUnsigned32(u"-1").value, 4294967295u);
    EXPECT_EQ(parseUnsigned32(u"-4294967295").value, 1u);
    EXPECT_EQ(parseUnsigned32(u"-4294967296").error, NumberError::outOfRange);
    EXPECT_EQ(parseUnsigned64(u"-1").value, std::numeric_limits<uint64_t>::max());
}

TEST(Number, ThatIsRealIsReadInEveryUsualForm) {
    EXPECT_EQ(parseReal(u" +1.5e3 rest").value, 1500.0);
    EXPECT_EQ(parseReal(u"-.5,").value, -0.5);
    EXPECT_EQ(parseReal(u"1e").value, 1.0);
    EXPECT_EQ(parseReal(u"0x1.8p1").value, 3.0);
    EXPECT_EQ(parseReal(u"-0xg").value, 0.0);
    EXPECT_EQ(parseReal(u"0x-1").value, 0.0);
    EXPECT_EQ(parseReal(u"-INF").value, -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(parseReal(u"nan").value));
    EXPECT_EQ(parseReal(u"1e400").error, NumberError::outOfRange);
    for (const std::u16string_view text : {u"", u".", u"e5", u"+-1", u"--1", u"\u0661"})
        EXPECT_EQ(parseReal(text).error, NumberError::invalid);
}

TEST(Number, ThatIsRealIsWrittenInBothForms) {
    EXPECT_EQ(generalReal(0.1), u"0.1");
    EXPECT_EQ(generalReal(1.5), u"1.5");
    EXPECT_EQ(generalReal(1.0 / 3), u"0.3333333333333333");
    EXPECT_EQ(generalReal(1e20), u"1e+20");
    EXPECT_EQ(generalReal(-2), u"-2");
    EXPECT_EQ(fixedReal(0.1), u"0.100000");
    EXPECT_EQ(fixedReal(-1e300).size(), 309u);
}

}  // namespace
