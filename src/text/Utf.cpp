#include "text/Utf.h"

namespace Ferrow {
namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendUtf8(std::string& out, char32_t point) {
    if (point < 0x80) {
        out += static_cast<char>(point);
        return;
    }
    if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
    } else {
        if (point < 0x10000) {
            out += static_cast<char>(0xE0 | point >> 12);
        } else {
            out += static_cast<char>(0xF0 | point >> 18);
            out += static_cast<char>(0x80 | (point >> 12 & 0x3F));
        }
        out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
    }
    out += static_cast<char>(0x80 | (point & 0x3F));
}

// Reads the code point at text[at] and moves past it. Of a broken sequence only the part that could have
// begun a character is passed over, so that one bad byte does not swallow the good ones behind it.
char32_t nextPoint(std::string_view text, size_t& at) {
    const auto lead = static_cast<unsigned char>(text[at++]);
    if (lead < 0x80)
        return lead;
    unsigned rest = 0;
    unsigned char low = 0x80,
                  high = 0xBF;  // the range of the second byte shuts out overlong forms and surrogates
    char32_t point = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        rest = 1;
        point = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        rest = 2;
        point = lead & 0x0Fu;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        rest = 3;
        point = lead & 0x07u;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    } else {
        return replacement;
    }
    for (; rest > 0; --rest) {
        if (at == text.size())
            return replacement;
        const auto next = static_cast<unsigned char>(text[at]);
        if (next < low || next > high)
            return replacement;
        point = point << 6 | (next & 0x3Fu);
        low = 0x80;
        high = 0xBF;
        ++at;
    }
    return point;
}

constexpr char16_t lowerAscii(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

}  // namespace

std::string toUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (size_t at = 0; at < text.size(); ++at) {
        const char16_t unit = text[at];
        if (isHighSurrogate(unit) && at + 1 < text.size() && isLowSurrogate(text[at + 1])) {
            appendUtf8(out,
                       0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + (text[at + 1] - 0xDC00u));
            ++at;
        } else {
            appendUtf8(out, isHighSurrogate(unit) || isLowSurrogate(unit) ? replacement : unit);
        }
    }
    return out;
}

std::u16string toUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const char32_t point = nextPoint(text, at);
        if (point < 0x10000) {
            out += static_cast<char16_t>(point);
        } else {
            out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::wstring toWideUnits(std::u16string_view text) {
    return {text.begin(), text.end()};
}

std::u16string toLowerAscii(std::u16string_view text) {
    std::u16string out(text);
    for (char16_t& unit : out)
        unit = lowerAscii(unit);
    return out;
}

bool equalsIgnoringAsciiCase(std::u16string_view left, std::u16string_view right) noexcept {
    if (left.size() != right.size())
        return false;
    for (size_t at = 0; at < left.size(); ++at) {
        if (lowerAscii(left[at]) != lowerAscii(right[at]))
            return false;
    }
    return true;
}

std::u16string decimal(uint64_t value) {
    char16_t digits[20];
    char16_t* first = digits + 20;
    do {
        *--first = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return {first, digits + 20};
}

std::u16string decimalSigned(int64_t value) {
    return value < 0 ? u"-" + decimal(0 - static_cast<uint64_t>(value))
                     : decimal(static_cast<uint64_t>(value));
}

}  // namespace Ferrow
