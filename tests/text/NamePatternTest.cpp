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
    const auto pick = [&random](std::u16string_view from) { return from[random() % from.size()]; };
    const auto plain = [&](std::u16string& out) {
        const unsigned kind = random() % 8;
        if (kind == 0)
            (out += u'\\') += pick(u".{}()$^|*+?[]/-");
        else if (kind == 1)
            out += u'.';
        else
            out += pick(u"aab.");
    };
    size_t direct = 0, matched = 0, malformed = 0;
    for (int round = 0; round < 20000; ++round) {
        std::u16string pattern;
        if (random() % 6 == 0)
            pattern += u'^';
        for (unsigned parts = random() % 5; parts > 0; --parts) {
            if (random() % 3 == 0) {
                pattern += u'(';
                for (unsigned length = random() % 6; length > 0; --length) {
                    if (random() % 3 == 0)
                        pattern += u'|';
                    else
                        plain(pattern);
                }
                pattern += u')';
            } else {
                plain(pattern);
            }
            if (random() % 12 == 0)
                pattern += std::u16string_view(u"*+?|^$)([a]{2}").substr(random() % 14, 1 + random() % 3);
        }
        pattern += std::u16string_view(random() % 2 ? u"" : random() % 2 ? u".*" : u".+");
        if (random() % 6 == 0)
            pattern += u'$';

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
                name += pick(u"aaaabb.{(\n");
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
    for (const std::u16string& pattern :
         {many, many + u"a" + std::u16string(100'000, u')'), std::u16string(million, u'a') + u"*",
          std::u16string(u"(a{1000}){1000}"), std::u16string(u"a{100}{100}"),
          std::u16string(u"(a|b){99999999999999999999}"), std::u16string(u"([(]aaaaaaaa){500}"),
          std::u16string(u"(aaaaaaaaaaaaaaa[)]){100}"), std::u16string(u"(\\c)aaaaaaaaaaaaa){100}"),
          std::u16string(u"(aaaaaaa[[:alpha:])]){200}"), u"a*" + std::u16string(100, u'b'),
          std::u16string(u"(a|(?=.*b)c)*"), std::u16string(u"(a)\\1")}) {
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
