#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

struct Guid {
    uint32_t data1 = 0;
    uint16_t data2 = 0;
    uint16_t data3 = 0;
    std::array<uint8_t, 8> data4{};

    bool operator==(const Guid&) const = default;
};
static_assert(sizeof(Guid) == 16);

// "{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}", hexadecimal digits in either case; nothing for anything else.
std::optional<Guid> parseGuid(std::u16string_view text);
// The same form, in upper case.
std::u16string guidText(const Guid& guid);

}  // namespace Platform
