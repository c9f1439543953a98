#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

#include "host/program/output/Console.h"
#include "host/program/output/TerminalText.h"
#include "host/program/viewer/AlertCard.h"
#include "text/Utf.h"

namespace Host {
namespace {

// Everything that could steer a terminal, or deceive its reader.
const std::u16string hostile =
    u"\x1B[2J\x1B]0;owned\x07 a\rb\bc\x7F\u0085\u009B31m\u202Egpj.exe\u2066\u2069\u200B\uFEFF\u061C\u2028" +
    std::u16string(1, u'\0') + char16_t(0xD800) + u"\u00AD" + char16_t(0xDC00) + u"\U000E0041end";

bool isHarmless(std::u16string_view text) {
    return std::none_of(text.begin(), text.end(), [](char16_t unit) {
        return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || unit == 0xAD || unit == 0x61C ||
               (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200B ||
               unit == 0x2028 || unit == 0xFEFF || unit == 0xDB40;
    });
}

TEST(TerminalTextTest, NothingThatSteersATerminalIsLeft) {
    const std::u16string safe = harmless(hostile);
    EXPECT_TRUE(isHarmless(safe)) << Ferrow::toUtf8(safe);
    EXPECT_EQ(Ferrow::toUtf16(Ferrow::toUtf8(safe)), safe) << "no lone surrogate";
    EXPECT_TRUE(safe.ends_with(u"end"));
    EXPECT_EQ(harmless(u"plain \u00e4\u6f22\U0001F600"), u"plain \u00e4\u6f22\U0001F600");
    EXPECT_EQ(harmless(u"a" + std::u16string(1000, u'\u0301')).size(), 4u) << "marks do not pile up";

    std::ostringstream output, errors;
    Console console(output, errors);
    console.line(hostile);
    console.lines({hostile});
    console.error(hostile);
    EXPECT_EQ(output.str(), Ferrow::toUtf8(safe + u"\n" + safe + u"\n"));
    EXPECT_EQ(errors.str(), Ferrow::toUtf8(u"brevant: " + safe + u"\n"));
}

TEST(TerminalTextTest, LinesAreNoWiderThanAskedFor) {
    EXPECT_EQ(columnsOf(u"a\u6f22e\u0301\U0001F600"), 6u);
    EXPECT_EQ(wrapped(u"one two three", 7, 9), (std::vector<std::u16string>{u"one two", u"three"}));
    EXPECT_EQ(wrapped(u"one\r\n\ntwo", 7, 9), (std::vector<std::u16string>{u"one", u"", u"two"}));
    EXPECT_EQ(wrapped(u"unbreakable", 4, 9), (std::vector<std::u16string>{u"unbr", u"eaka", u"ble"}));
    EXPECT_EQ(wrapped(u"\u6f22\u6f22\u6f22", 5, 9),
              (std::vector<std::u16string>{u"\u6f22\u6f22", u"\u6f22"}));
    EXPECT_EQ(wrapped(u"a b c d", 1, 2).size(), 2u);
    EXPECT_EQ(wrapped(u"aaaa bbbb cccc", 4, 2), (std::vector<std::u16string>{u"aaaa", u"bbb\u2026"}));
    EXPECT_EQ(shortened(u"\u6f22\u6f22\u6f22", 4), u"\u6f22\u2026");
    EXPECT_EQ(shortened(u"abcd", 4), u"abcd");
}

TEST(AlertCardTest, ShowsTitleTextsOptionsAndActionsWithTheirKeys) {
    DisplayedAlert alert;
    alert.title = u"Title";
    alert.texts = {u"short", u"long"};
    alert.actions = {{u"Now", {}, u"", true, {}}, {u"Later", {}, u"", false, {}}};
    alert.options = {{u"Yes", true, u"y"}, {u"No", false, u"n"}};
    const auto card = alertCard(alert, 24);
    const std::vector<std::u16string> expected = {
        u"┌──────────────────────┐", u"│ Title                │", u"│                      │",
        u"│ short                │", u"│                      │", u"│ long                 │",
        u"│                      │", u"│ (x) Yes              │", u"│ ( ) No               │",
        u"│                      │", u"│ [1] Now (Enter)      │", u"│ [2] Later            │",
        u"└──────────────────────┘"};
    EXPECT_EQ(card, expected);
}

TEST(AlertCardTest, StaysHarmlessAndBoundedWhateverTheAlertHolds) {
    std::u16string endless = hostile;
    for (int round = 0; round < 2000; ++round)
        endless += hostile + u"\n\u6f22 word\t";
    DisplayedAlert alert;
    alert.title = endless;
    alert.texts = {endless, endless};
    alert.actions.resize(64, {endless, {}, endless, true, {}});
    alert.options = {{endless, true, endless}};
    for (const size_t columns : {size_t{0}, size_t{1}, size_t{25}, size_t{80}, size_t{100000}}) {
        const auto card = alertCard(alert, columns);
        EXPECT_LT(card.size(), 150u);
        for (const auto& line : card) {
            EXPECT_TRUE(isHarmless(line)) << Ferrow::toUtf8(line);
            EXPECT_EQ(columnsOf(line), columnsOf(card.front())) << Ferrow::toUtf8(line);
        }
        EXPECT_LE(columnsOf(card.front()), std::max<size_t>(24, std::min<size_t>(columns, 100)));
        for (const unsigned rows : {0u, 1u, 7u, 24u}) {
            AlertCard worked(alert);
            for (const char32_t key :
                 {U'\0', Platform::Keys::end, Platform::Keys::up, Platform::Keys::pageUp}) {
                EXPECT_FALSE(worked.press(key));
                const auto lines =
                    worked.draw({static_cast<unsigned>(columns), rows}, std::chrono::seconds(9));
                EXPECT_LE(lines.size(), std::max(rows, 1u));
                for (const StyledLine& line : lines)
                    EXPECT_TRUE(isHarmless(line.text));
            }
        }
    }
}

TEST(AlertCardTest, KeysMoveTheMarkTickOptionsAndChoose) {
    DisplayedAlert alert;
    alert.title = u"Title";
    alert.texts = {std::u16string(2000, u'x')};
    for (size_t at = 0; at < 12; ++at)
        alert.actions.push_back({u"Action " + Ferrow::decimal(at + 1), {}, u"", at == 10, {}});
    alert.options = {{u"Yes", true, u"y"}, {u"No", false, u"n"}};
    const auto seen = [&](AlertCard& card, std::u16string_view text) {
        const auto lines = card.draw({40, 12}, std::chrono::seconds(75));
        EXPECT_EQ(lines.size(), 12u);
        EXPECT_NE(lines[1].text.find(u"Title"), std::u16string::npos) << "the title stays";
        return std::ranges::any_of(
            lines, [&](const StyledLine& line) { return line.text.find(text) != std::u16string::npos; });
    };
    using Ticked = std::vector<size_t>;
    AlertCard card(alert);
    EXPECT_TRUE(seen(card, u"closes in 1:15"));
    for (const char32_t key : {U'x', U'0', U'\0', Platform::Keys::home})
        EXPECT_FALSE(card.press(key)) << "does nothing";
    EXPECT_EQ(card.press(U'\n')->action, 10u) << "the default one";
    EXPECT_EQ(card.press(U'9')->action, 8u);
    EXPECT_FALSE(seen(card, u"Action 12"));
    card.press(Platform::Keys::down);
    EXPECT_TRUE(seen(card, u"›[ ] Action 12"));
    EXPECT_EQ(card.press(U'\n')->action, 11u) << "the marked one";
    card.press(U' ');
    EXPECT_EQ(card.press(U'9')->ticked, Ticked{0}) << "no option is marked";
    card.press(Platform::Keys::down);
    card.press(U'\t');
    card.press(U' ');
    EXPECT_TRUE(seen(card, u"›(x) No"));
    const auto end = card.press(U'\x1B');
    EXPECT_EQ(end->action, std::nullopt);
    EXPECT_EQ(end->ticked, (Ticked{0, 1}));
    EXPECT_EQ(end->ending, Showing::Ending::dismissed);

    alert.actions = {{u"Go", {u"plain", u""}, u"", false, {{{u"n", u"y"}, {u"both", u""}}}}};
    EXPECT_EQ(alert.messageFor(alert.actions[0], {1, 0}).name, u"both");
    EXPECT_EQ(alert.messageFor(alert.actions[0], {1}).name, u"plain");
    EXPECT_FALSE(AlertCard(alert).press(U'\n')) << "there is no default";
}

TEST(DisplayedAlertTest, ReadsWhatIsThereAndLeavesTheRestEmpty) {
    const auto alert = DisplayedAlert::parse(
        uR"({"id":"a","timeout":7,"content":"{\"title\":\"t\",\"text\":\"from the plugin\"}","context":{"title":"T",)"
        uR"("shortdescription":"","longdescription":"L","actions":[{"text":"Go","defaultmessage":)"
        uR"({"messagename":"N","payload":"P"}},{"text":5}],"dismissalactions":[{"payload":"nameless"},)"
        uR"({"messagename":"not\u0000sendable"},{"messagename":"D"}],"timeoutactions":"none"}})");
    ASSERT_TRUE(alert);
    EXPECT_EQ(alert->title, u"T");
    EXPECT_EQ(alert->texts, (std::vector<std::u16string>{u"L", u"from the plugin"}));
    EXPECT_EQ(alert->timeout, std::chrono::seconds(7));
    ASSERT_EQ(alert->actions.size(), 2u);
    EXPECT_EQ(alert->actions[0].message.payload, u"P");
    ASSERT_EQ(alert->dismissalMessages.size(), 1u);
    EXPECT_EQ(alert->dismissalMessages[0].name, u"D");
    EXPECT_TRUE(DisplayedAlert::parse(u"{\"id\":\"a\"}"));
    for (const char16_t* nameless : {u"{}", uR"({"id":"a\u0000b"})"})
        EXPECT_FALSE(DisplayedAlert::parse(nameless));
    EXPECT_FALSE(DisplayedAlert::parse(u"no JSON"));
}

}  // namespace
}  // namespace Host
