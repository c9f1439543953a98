#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "text/Format.h"
#include "text/Utf.h"

namespace {

using namespace Ferrow;

TEST(Format, TakesTheWidthOfANumberFromItsOwnType) {
    EXPECT_EQ(formatText(u"%lu %d %lu", 0x8000000Du, 0x8000000Du, -1), u"2147483661 -2147483635 4294967295");
    EXPECT_EQ(formatText(u"%d %d", uint16_t{65535}, static_cast<signed char>(-1)), u"65535 -1");
    EXPECT_EQ(formatText(u"%lld %d", INT64_MIN, INT64_MAX), u"-9223372036854775808 9223372036854775807");
    EXPECT_EQ(formatText(u"%x %zu", int16_t{-1}, std::numeric_limits<size_t>::max()),
              u"ffffffff 18446744073709551615");
    EXPECT_EQ(formatText(u"%#o %#.0o %+u", 8, 0, 5u), u"010 0 5");
    enum class Colour : uint8_t { red = 7 };
    EXPECT_EQ(formatText(u"%d %d", Colour::red, true), u"7 1");
}

TEST(Format, TakesTextOfEitherWidthWhateverTheModifier) {
    const std::u16string wide = u"w\u00E9";
    EXPECT_EQ(formatText(u"%s %hs %ls %s", wide, wide.c_str(), "n\xC3\xA9", std::string("b")),
              u"w\u00E9 w\u00E9 n\u00E9 b");
    EXPECT_EQ(formatText(u"%s %hs", static_cast<const char16_t*>(nullptr), static_cast<const char*>(nullptr)),
              u"(null) (null)");
    EXPECT_EQ(formatText(u"%s|%s", std::u16string(u"a\0b", 3), std::string("c\0d", 3)), u"a|c")
        << "the end of a text for printf and for the bus";
    char16_t changeable[] = u"m";
    EXPECT_EQ(formatText(u"[%3s][%-3s][%.1s][%.0s]", changeable, u"a", u"bcd", u"e"), u"[  m][a  ][b][]");
    EXPECT_EQ(formatText(u"%c%c%c", u'A', 'B', U'\U0001F514'), u"AB\U0001F514");
}

TEST(Format, ShowsWrongAndMissingArgumentsWithoutReadingThem) {
    EXPECT_EQ(formatText(u"%s %d %f %c %s", 5, u"five", 1, u"x"), u"(?) (?) (?) (?) (?)");
    EXPECT_EQ(formatText(u"%*d", u"wide", 3, u"left over"), u"3");
    EXPECT_EQ(formatText(u"100%% %k %n%d %", 7), u"100% %k %n7 %") << "no conversions";
    EXPECT_EQ(formatText(u"0x%08X", reinterpret_cast<const void*>(0xAB12)), u"0x0000AB12");
}

TEST(Format, CapsWidthsAndPrecisions) {
    for (const char16_t* format : {u"%99999999999999999999d", u"%.1000000000d"})
        EXPECT_EQ(formatText(format, 1).size(), 4096u);
    EXPECT_EQ(formatText(u"%*d", INT32_MIN, 1), u"1" + std::u16string(4095, u' '));
    EXPECT_EQ(formatText(u"%.999999f", 1e308).size(), 309u + 1 + 4096);
    EXPECT_EQ(formatText(u"%.*s", -1, u"whole"), u"whole");
}

TEST(Format, CutsTheResultOutsideOfSurrogatePairs) {
    const auto cut = [](std::u16string_view format, const FormatArgument& argument, size_t length) {
        return formatTextArguments(format, &argument, 1, length);
    };
    EXPECT_EQ(cut(u"ab%s", u"cdef", 4), u"abcd");
    EXPECT_EQ(cut(u"ab%s", u"\U0001F514", 3), u"ab");
    EXPECT_EQ(cut(u"ab%s", "\xF0\x9F\x94\x94", 4), u"ab\U0001F514");
    EXPECT_EQ(cut(u"%s", std::string(1'000'000, 'x'), 4159), std::u16string(4159, u'x'));
    EXPECT_EQ(cut(u"abc\U0001F514%s", u"", 4), u"abc");
    EXPECT_EQ(cut(u"%s", u"x", 0), u"");
    EXPECT_EQ(formatText(u"%.1s|", u"\U0001F514"), u"|");
}

// The C library formats the same numbers.
TEST(Format, FormatsNumbersAsTheCLibraryDoes) {
    std::mt19937 random(20261124);
    const auto pick = [&random](std::string_view from) {
        return std::string(1, from[random() % from.size()]);
    };
    for (int round = 0; round < 20000; ++round) {
        std::string format = "%";
        const bool isReal = random() % 4 == 0;
        const std::string letter = pick(isReal ? "feEgG" : "diuxXo");
        const bool hasSign = isReal || letter == "d" || letter == "i";
        // Left out is what not every C library gets right: signs for unsigned numbers, "#" for octal ones.
        for (unsigned flags = random() % 3; flags > 0; --flags)
            format += pick(hasSign ? "-+ 0" : "-0");
        if ((letter == "x" || letter == "X") && random() % 2)
            format += '#';
        if (random() % 2)
            format += std::to_string(random() % 30 + 1);
        if (random() % 2)
            format += "." + (random() % 4 ? std::to_string(random() % 20) : std::string());
        const auto number = static_cast<int32_t>(random() >> random() % 32) * (random() % 2 ? 1 : -1);
        format += letter;
        const auto agrees = [&format](auto argument) {
            char expected[512];
            std::snprintf(expected, sizeof expected, format.c_str(), argument);
            ASSERT_EQ(toUtf8(formatText(toUtf16(format), argument)), expected) << format;
        };
        isReal ? agrees(number / 4096.0) : agrees(number);
    }
}

}  // namespace
