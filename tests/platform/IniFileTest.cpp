#include <gtest/gtest.h>

#include "platform/IniText.h"
#include "text/Utf.h"

using namespace Platform;

namespace {

constexpr std::string_view sample =
    "[Other]\r\n"
    "Enable=9\r\n"
    "[Config]\r\n"
    "# by hand\r\n"
    " Enable = 1 \r\n"
    "MaxSize=\" 5 \"\r\n"
    ";Severity=4\r\n"
    "\r\n"
    "[Last]\r\n"
    "x=y";

TEST(IniTexts, AreReadWithoutRegardToCaseBlanksAndComments) {
    EXPECT_EQ(readIniValue(sample, u"config", u"ENABLE"), u"1");
    EXPECT_EQ(readIniValue(sample, u"Config", u"MaxSize"), u" 5 ");
    for (const std::u16string_view missing : {u"Severity", u"x", u""})
        EXPECT_FALSE(readIniValue(sample, u"Config", missing));
    EXPECT_EQ(readIniValue("[Config]\nEnable=1\n[Config]\nEnable=2\n", u"Config", u"Enable"), u"1");
}

TEST(IniTexts, ChangeOnlyTheLineOfTheValue) {
    std::string expected(sample);
    expected.replace(expected.find(" Enable = 1 \r\n"), 14, "Enable=0\r\n");
    EXPECT_EQ(withIniValue(sample, u"Config", u"Enable", u"0"), expected);

    expected = sample;
    expected.insert(expected.find(";Severity"), "Severity=3\r\n");
    EXPECT_EQ(withIniValue(sample, u"Config", u"Severity", u"3"), expected);

    EXPECT_EQ(withIniValue(sample, u"Last", u"z", u"1"), std::string(sample) + "\r\nz=1\r\n");
    EXPECT_EQ(withIniValue(sample, u"New", u"k", u"v"), std::string(sample) + "\r\n[New]\r\nk=v\r\n");
    EXPECT_EQ(withIniValue("[A]\nb=1\n", u"a", u"c", u"2"), "[A]\nb=1\nc=2\n");
    EXPECT_EQ(withIniValue("", u"A", u"b", u""), "[A]\r\nb=\r\n");
    EXPECT_EQ(withIniValue("[A]\nold=\xE9\n", u"A", u"b", u"1"), "[A]\nold=\xE9\nb=1\n");
}

TEST(IniTexts, KeepTheirEncoding) {
    const std::string marked = "\xEF\xBB\xBF[A]\r\nb=1\r\n";
    EXPECT_EQ(withIniValue(marked, u"A", u"b", u"\u00e9"), "\xEF\xBB\xBF[A]\r\nb=\xC3\xA9\r\n");
    const std::string wide = "\xFF\xFE" + Ferrow::toLittleEndian(u"[A]\r\nb=1\r\n");
    EXPECT_EQ(readIniValue(wide, u"A", u"b"), u"1");
    EXPECT_EQ(withIniValue(wide, u"A", u"b", u"2"), "\xFF\xFE" + Ferrow::toLittleEndian(u"[A]\r\nb=2\r\n"));
}

TEST(IniTexts, GiveBackEveryValueThatTheyAccept) {
    for (const std::u16string_view value :
         {u"", u" ", u"\"", u"\"q\"", u"'q'", u"a=b", u"; no comment", u"[x]"}) {
        const auto text = withIniValue("", u"S", u"k", value);
        ASSERT_TRUE(text);
        EXPECT_EQ(readIniValue(*text, u"S", u"k"), value) << *text;
    }
    EXPECT_FALSE(withIniValue("", u"S", u"k", u"a\nb=c"));
    EXPECT_FALSE(withIniValue("", u"S]\r\n", u"k", u"v"));
    for (const std::u16string_view key : {u"k=", u"[k", u""})
        EXPECT_FALSE(withIniValue("", u"S", key, u"v"));
}

}  // namespace
