#include <gtest/gtest.h>

#include "text/TextLength.h"

namespace {

TEST(TextLength, IsThatOfTheFirstZeroUnitWhereverTheTextBegins) {
    for (size_t begin = 0; begin < 9; ++begin)
        for (size_t length = 0; length < 40; ++length) {
            // Each byte of a unit may be zero alone.
            std::u16string text;
            while (text.size() < 64)
                text += text.size() % 2 ? u'\x0100' : u'\x0001';
            text[begin + length] = 0;
            EXPECT_EQ(Ferrow::textLength(text.c_str() + begin), length) << begin;
        }
    EXPECT_EQ(Ferrow::viewOf(nullptr).size(), 0u);
}

}  // namespace
