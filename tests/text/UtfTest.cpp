#include <gtest/gtest.h>

#include "text/Utf.h"

namespace {

using namespace Ferrow;
using namespace std::string_literals;

TEST(Utf, ConvertsEveryLengthOfCharacterBothWays) {
    // Behind plain texts of several lengths, for those are passed over many units at a time.
    for (size_t plain = 0; plain < 20; ++plain) {
        const std::u16string wide =
            std::u16string(plain, u'x') + u"a\u0000\u00E9\u07FF\u0800\uFFFD\U0001F514\U0010FFFF"s;
        const std::string narrow =
            std::string(plain, 'x') +
            "a\0\xC3\xA9\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x9F\x94\x94\xF4\x8F\xBF\xBF"s;
        EXPECT_EQ(toUtf8(wide), narrow);
        EXPECT_EQ(toUtf16(narrow), wide);
        EXPECT_TRUE(isUtf8(narrow));
        EXPECT_EQ(fromLittleEndian(toLittleEndian(wide)), wide);
    }
    EXPECT_EQ(toLittleEndian(u"\x1234"), "\x34\x12");
}

TEST(Utf, ReplacesWhatIsMalformedAndKeepsWhatFollows) {
    const char16_t lowFirst[] = {0xDC00, 0xD800, u'x', 0xD83D};
    EXPECT_EQ(toUtf8({lowFirst, 4}), "\xEF\xBF\xBD\xEF\xBF\xBDx\xEF\xBF\xBD");
    for (const auto& [malformed, expected] :
         {std::pair<std::string_view, std::u16string_view>{"\x80x", u"\uFFFDx"},
          {"\xE2\x82x", u"\uFFFDx"},                            // cut short
          {"\xC0\xAFx", u"\uFFFD\uFFFDx"},                      // overlong
          {"\xED\xA0\x80x", u"\uFFFD\uFFFD\uFFFDx"},            // a surrogate
          {"\xF4\x90\x80\x80x", u"\uFFFD\uFFFD\uFFFD\uFFFDx"},  // beyond the last character
          {"\xF0\x9F\x94", u"\uFFFD"}}) {                       // cut short at the end
        EXPECT_EQ(toUtf16(malformed), expected);
        EXPECT_FALSE(isUtf8(malformed));
    }
}

TEST(Utf, FoldsAsciiLettersOnly) {
    EXPECT_EQ(toLowerAscii(u"AZ[\u00C4z"), u"az[\u00C4z");
    EXPECT_TRUE(equalsIgnoringAsciiCase(u"Config", u"cONFIG"));
    EXPECT_FALSE(equalsIgnoringAsciiCase(u"[", u"{"));
    EXPECT_FALSE(equalsIgnoringAsciiCase(u"a", u"ab"));
}

}  // namespace
