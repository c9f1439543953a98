#include <gtest/gtest.h>

#include "text/NamePattern.h"
#include "text/PatternHead.h"

namespace {

using Ferrow::patternHead;

std::u16string shown(std::u16string_view pattern) {
    std::u16string units = patternHead(pattern).units;
    for (const uint16_t position : patternHead(pattern).wildcards)
        units[position] = u'?';
    return units;
}

TEST(PatternHead, IsWhatAllMatchesBeginWith) {
    EXPECT_EQ(shown(u"Brevant\\.Alert\\.Show\\..*"), u"Brevant.Alert.Show.");
    EXPECT_EQ(shown(u"Brevant.Alert.\\{1\\}(.Dismissed.|.Failed.)x"), u"Brevant?Alert?{1}");
    EXPECT_EQ(shown(u"^Alert$"), u"Alert");
    EXPECT_EQ(shown(u"ab+c"), u"a");
    EXPECT_EQ(shown(u"a\\.*c"), u"a");
    EXPECT_EQ(shown(u"a\\dc"), u"a");
    EXPECT_EQ(shown(std::u16string(1000, u'x')), std::u16string(128, u'x'));
}

TEST(PatternHead, NeverHidesAMatch) {
    const std::u16string_view patterns[] = {
        u".*",      u"a.c",  u"a(b|c)d", u"(a|b)c", u"a|b",     u"ab*",     u"ab{2}",
        u"a[(]|b",  u"^a.*", u"a\\.b",   u"a\\.?",  u"(?:a|)b", u"(a|b)|c", u"a(?=b)b",
        u"[^a]b|a", u"ab??", u"a{0,1}b", u"a.{2}",  u"\\x61b",  u"a)|b",    u"a\\(|b"};
    const std::u16string_view names[] = {u"",    u"a",   u"b",   u"c",   u"ab",   u"ac",
                                         u"bc",  u"abc", u"abd", u"acd", u"abbb", u"abb",
                                         u"a.b", u"a(",  u"a.",  u"cb",  u"axx",  u"a(b"};
    for (const auto pattern : patterns) {
        std::unique_ptr<Ferrow::NamePattern> compiled;
        try {
            compiled = std::make_unique<Ferrow::NamePattern>(pattern);
        } catch (const std::exception&) {
            continue;
        }
        const auto head = patternHead(pattern);
        for (const auto name : names) {
            std::u16string beginning;
            const bool fits = head.cut(name, beginning) && beginning == head.units;
            EXPECT_EQ(head.fits(name), fits);
            EXPECT_TRUE(fits || !compiled->matches(name))
                << testing::PrintToString(pattern) << testing::PrintToString(name);
        }
    }
}

}  // namespace
