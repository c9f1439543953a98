#include <gtest/gtest.h>
#include <random>
#include <regex>

#include "text/DirectPattern.h"
#include "text/NamePattern.h"
#include "text/Utf.h"

namespace {

using namespace Ferrow;

constexpr size_t million = 1'000'000;

bool matches(std::u16string_view pattern, std::u16string_view name) {
    return NamePattern(pattern).matches(name);
}

bool isDirect(std::u16string_view pattern) {
    return DirectPattern::parse(pattern).has_value();
}

TEST(NamePattern, MatchesTheSystemsOwnPatternsDirectlyAndOthersThroughTheEngine) {
    struct {
        std::u16string_view pattern, name, other;
        bool direct = true;
    } const cases[]{
        {u"Brevant.Alert.Show..+", u"Brevant.Alert.Show.{1}", u"Brevant.Alert.Show."},
        {u"^SettingsManager.Notify.Set.Brevant/Viewer.*", u"SettingsManager.Notify.Set.Brevant/Viewer",
         u"SettingsManager.Notify.Set.Brevant/View"},
        {u"Brevant.Alert.\\{A-1\\}(.Dismissed.|.Failed.)77", u"Brevant.Alert.{A-1}.Failed.77",
         u"Brevant.Alert.{A-1}.Failed.777"},
        {u"\\{[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}\\}", u"{5F83B2C4-61DA-11E0-9E37-0800200C4D58}", u"",
         false},
        {u"^(?!Internal)(?=.*Alert)[A-Za-z.]+", u"Brevant.Alert", u"Internal.Alert", false},
        {u".*\\.(Alpha|Beta|Gamma|Delta)\\.[0-9]+", u"Product.Gamma.12", u"Product.Gamma.x", false},
    };
    for (const auto& [pattern, name, other, direct] : cases)
        EXPECT_TRUE(isDirect(pattern) == direct && matches(pattern, name) && !matches(pattern, other))
            << toUtf8(pattern);
}

TEST(NamePattern, LetsADotMatchAllButLineEndsInBothEngines) {
    for (const std::u16string_view pattern : {u"a.b", u"(?:a.b)", u"a.*", u"(?:a.*)", u"a(.|..)b"}) {
        for (const char16_t lineEnd : {u'\n', u'\r', u'\x2028', u'\x2029'})
            EXPECT_FALSE(matches(pattern, std::u16string{u'a', lineEnd, u'b'})) << toUtf8(pattern);
        EXPECT_TRUE(matches(pattern, std::u16string_view(u"a\0b", 3))) << toUtf8(pattern);
        const char16_t halfAPair = 0xD83D;
        EXPECT_TRUE(matches(pattern, std::u16string{u'a', halfAPair, u'b'})) << toUtf8(pattern);
    }
}

// Both ways of matching must agree with the standard library's expressions as they are, refused ones apart.
TEST(NamePattern, AgreesWithTheStandardEngine) {
    std::mt19937 random(7711);
    const auto pick = [&random](const auto& from) { return from[random() % std::size(from)]; };
    constexpr std::u16string_view plain[] = {u"a",   u"a",     u"b",       u".",       u"\\.",
                                             u"\\{", u"(a|b)", u"(aa|.|)", u"(\\.|ab)"},
                                  odd[] = {u"(", u")", u"|", u"*", u"+?", u"^", u"$", u"[a]", u"{2}", u"\\"};
    size_t direct = 0, matched = 0, malformed = 0;
    for (int round = 0; round < 20000; ++round) {
        std::u16string pattern(random() % 6 ? u"" : u"^");
        for (unsigned parts = random() % 6; parts > 0; --parts)
            pattern += random() % 10 ? pick(plain) : pick(odd);
        constexpr std::u16string_view ends[] = {u"", u"", u".*", u".+", u"$", u".*$"};
        pattern += pick(ends);

        std::optional<std::wregex> expected;
        try {
            using namespace std::regex_constants;
            expected.emplace(toWideUnits(pattern), ECMAScript | __polynomial);
        } catch (const std::regex_error&) {
            ++malformed;
            EXPECT_THROW(NamePattern{pattern}, std::regex_error) << toUtf8(pattern);
            continue;
        }
        const NamePattern ours(pattern);
        direct += isDirect(pattern);
        for (int names = 0; names < 12; ++names) {
            std::u16string name;
            for (unsigned length = random() % 9; length > 0; --length)
                name += pick(std::u16string_view(u"aaaabb.{(\n"));
            const bool should = std::regex_match(toWideUnits(name), *expected);
            matched += should;
            ASSERT_EQ(ours.matches(name), should) << toUtf8(pattern) << " against " << toUtf8(name);
        }
    }
    EXPECT_GT(direct, 5000u);
    EXPECT_GT(matched, 5000u);
    EXPECT_GT(malformed, 500u);
}

TEST(NamePattern, MatchesNamesAndPatternsOfAMillionUnits) {
    const std::u16string name(million, u'a');
    EXPECT_TRUE(matches(name.substr(1) + u"(a|b|cc)", name));
    EXPECT_TRUE(matches(u"(" + std::u16string(million, u'|') + u")" + name, name));
    for (const std::u16string_view throughTheEngine : {u".*a", u"(a*)*"})
        EXPECT_TRUE(matches(throughTheEngine, name));
}

TEST(NamePattern, RefusesWhatTheEngineIsNotTrustedWith) {
    const std::u16string many(100'000, u'(');
    const std::u16string patterns[] = {many,
                                       many + u"a" + std::u16string(100'000, u')'),
                                       std::u16string(million, u'a') + u"*",
                                       u"(a{1000}){1000}",
                                       u"a{100}{100}",
                                       u"(a|b){99999999999999999999}",
                                       u"([(]aaaaaaaa){500}",
                                       u"(aaaaaaaaaaaaaaa[)]){100}",
                                       u"(\\c)aaaaaaaaaaaaa){100}",
                                       u"(aaaaaaa[[:alpha:])]){200}",
                                       u"a*" + std::u16string(100, u'b'),
                                       u"(a|(?=.*b)c)*",
                                       u"(a)\\1"};
    for (const std::u16string& pattern : patterns) {
        try {
            NamePattern{pattern};
            ADD_FAILURE() << "accepted: " << toUtf8(pattern.substr(0, 60));
        } catch (const std::regex_error& error) {
            EXPECT_EQ(error.code(), std::regex_constants::error_complexity);
        }
    }
}

// Run with the stack that threads of a host may have (1 MiB), this is where too generous bounds would show.
TEST(NamePattern, StaysWithinTheStackAtItsBounds) {
    EXPECT_TRUE(matches(std::u16string(900, u'a') + u"b?", std::u16string(900, u'a')));
    std::u16string optional, alternatives = u"(?:", nested, repeated = u"(?:a?){150}";
    for (int each = 0; each < 320; ++each)
        optional += u"a?";
    for (int each = 0; each < 240; ++each)
        alternatives += u"a|";
    alternatives += u"b)x?";
    for (int each = 0; each < 20; ++each)
        nested.insert(0, u"(?:").append(u"a?)?");
    for (const std::u16string& pattern : {optional, alternatives, nested, repeated})
        EXPECT_TRUE(matches(pattern, u"a")) << toUtf8(pattern);
}

}  // namespace
