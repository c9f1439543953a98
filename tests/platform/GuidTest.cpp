#include <gtest/gtest.h>

#include "platform/Guid.h"

using namespace Platform;

namespace {

TEST(Guids, ReadAndWriteTheBracedForm) {
    const auto guid = parseGuid(u"{7c2e5a10-3B9F-11e0-A4D2-0800200c1b77}");
    ASSERT_TRUE(guid);
    EXPECT_TRUE(guid->data1 == 0x7C2E5A10 && guid->data3 == 0x11E0 && guid->data4[1] == 0xD2);
    EXPECT_EQ(guidText(*guid), u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}");
    for (const char16_t* wrong :
         {u"", u"7C2E5A10-3B9F-11E0-A4D2-0800200C1B77", u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7}",
          u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7G}", u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77} "})
        EXPECT_FALSE(parseGuid(wrong));
}

}  // namespace
