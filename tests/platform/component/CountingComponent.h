// What the test and its component library agree on.
#pragma once

#include <cstdint>

#include "platform/Guid.h"

constexpr Platform::Guid countingClassId{0x5a1b2c3d, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr Platform::Guid textLengthId{0x5a1b2c3e, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};

// One method after the three of every component object.
struct TextLength {
    struct Functions {
        int32_t (*queryInterface)(TextLength*, const Platform::Guid*, void**);
        uint32_t (*addReference)(TextLength*);
        uint32_t (*release)(TextLength*);
        int32_t (*lengthOf)(TextLength*, const char16_t* text);
    };
    const Functions* functions;
};
