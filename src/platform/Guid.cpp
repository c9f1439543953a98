#include "platform/Guid.h"

namespace Platform {
namespace {

constexpr std::u16string_view form = u"{00000000-0000-0000-0000-000000000000}";

int digitOf(char16_t unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10;
    return -1;
}

}  // namespace

std::optional<Guid> parseGuid(std::u16string_view text) {
    if (text.size() != form.size())
        return std::nullopt;
    std::array<uint8_t, 16> bytes{};
    size_t digits = 0;
    for (size_t index = 0; index < form.size(); ++index) {
        if (form[index] != u'0') {
            if (text[index] != form[index])
                return std::nullopt;
            continue;
        }
        const int digit = digitOf(text[index]);
        if (digit < 0)
            return std::nullopt;
        bytes[digits / 2] = static_cast<uint8_t>(bytes[digits / 2] << 4 | digit);
        ++digits;
    }
    Guid guid;
    guid.data1 = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                 static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
    guid.data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
    for (size_t index = 0; index < guid.data4.size(); ++index)
        guid.data4[index] = bytes[8 + index];
    return guid;
}

std::u16string guidText(const Guid& guid) {
    std::array<uint8_t, 16> bytes = {
        static_cast<uint8_t>(guid.data1 >> 24), static_cast<uint8_t>(guid.data1 >> 16),
        static_cast<uint8_t>(guid.data1 >> 8),  static_cast<uint8_t>(guid.data1),
        static_cast<uint8_t>(guid.data2 >> 8),  static_cast<uint8_t>(guid.data2),
        static_cast<uint8_t>(guid.data3 >> 8),  static_cast<uint8_t>(guid.data3)};
    for (size_t index = 0; index < guid.data4.size(); ++index)
        bytes[8 + index] = guid.data4[index];
    std::u16string text(form);
    size_t digits = 0;
    for (char16_t& unit : text) {
        if (unit != u'0')
            continue;
        const int shift = digits % 2 == 0 ? 4 : 0;
        unit = u"0123456789ABCDEF"[(bytes[digits / 2] >> shift) & 0xF];
        ++digits;
    }
    return text;
}

}  // namespace Platform
