#include <gtest/gtest.h>

#include "platform/Encoding.h"
#include "platform/Guid.h"

using namespace Platform;

namespace {

TEST(Encodings, CarryEveryPlaneThereAndBack) {
    const std::u16string text = u"a\u00e9\u20ac\U0001F514\uFFFF";
    const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x94\xEF\xBF\xBF";
    EXPECT_EQ(utf8Of(text), bytes);
    EXPECT_EQ(utf16Of(bytes), text);
    EXPECT_EQ(utf16OfBytes(bytesOfUtf16(text)), text);
}

TEST(Encodings, ReplaceWhatIsMalformed) {
    EXPECT_EQ(utf8Of(std::u16string{u'a', 0xD800, u'b', 0xDC00}),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
    for (const char* malformed : {"\x80", "\xC0\xAF", "\xC3", "\xE0\x80\x80", "\xED\xA0\x80",
                                  "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xE2\x82"}) {
        EXPECT_FALSE(isUtf8(malformed)) << malformed;
        EXPECT_EQ(utf16Of(malformed).front(), 0xFFFD);
    }
    EXPECT_EQ(utf16Of("\xE2\x82z"), u"\uFFFDz");
}

TEST(Guids, ReadAndWriteTheBracedForm) {
    const std::u16string text = u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}";
    const auto guid = parseGuid(u"{7c2e5a10-3B9F-11e0-A4D2-0800200c1b77}");
    ASSERT_TRUE(guid);
    EXPECT_EQ(guid->data1, 0x7C2E5A10u);
    EXPECT_EQ(guid->data3, 0x11E0);
    EXPECT_EQ(guid->data4[1], 0xD2);
    EXPECT_EQ(guidText(*guid), text);
    for (const char16_t* wrong :
         {u"", u"7C2E5A10-3B9F-11E0-A4D2-0800200C1B77", u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7}",
          u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7G}", u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77} "})
        EXPECT_FALSE(parseGuid(wrong));
}

}  // namespace
