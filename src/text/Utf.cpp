#include "text/Utf.h"

#include <cstring>
#include <type_traits>

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

constexpr char32_t broken = 0xFFFFFFFF;

// Reads the code point at text[at] and moves past it. Of a broken sequence only the part that could have
// begun a character is passed over, so that one bad byte does not swallow the good ones behind it.
char32_t nextPoint(std::string_view text, size_t& at) {
    const auto lead = static_cast<unsigned char>(text[at++]);
    if (lead < 0x80)
        return lead;
    const int rest = lead >= 0xC2 && lead <= 0xDF   ? 1
                     : lead >= 0xE0 && lead <= 0xEF ? 2
                     : lead >= 0xF0 && lead <= 0xF4 ? 3
                                                    : 0;
    if (rest == 0)
        return broken;
    // The range of the second byte shuts out overlong forms, surrogates and what lies beyond the last plane.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t point = lead & (0x3Fu >> rest);
    for (const size_t end = at + static_cast<size_t>(rest); at < end; ++at) {
        const auto next = at < text.size() ? static_cast<unsigned char>(text[at]) : '\0';
        if (next < low || next > high)
            return broken;
        point = point << 6 | (next & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return point;
}

template <class Unit>
constexpr bool isAscii(Unit unit) {
    return static_cast<std::make_unsigned_t<Unit>>(unit) < 0x80;
}

// Units before the first that is not ASCII. Most texts are ASCII whole, so it looks at several at a time.
template <class Unit>
size_t asciiLength(std::basic_string_view<Unit> text) noexcept {
    constexpr size_t atOnce = sizeof(uint64_t) / sizeof(Unit);
    constexpr uint64_t high = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
    size_t at = 0;
    for (uint64_t units = 0; at + atOnce <= text.size(); at += atOnce) {
        std::memcpy(&units, text.data() + at, sizeof units);
        if (units & high)
            break;
    }
    while (at < text.size() && isAscii(text[at]))
        ++at;
    return at;
}

// Appends what is ASCII from text[at] on and tells where it ends.
template <class Unit, class Out>
size_t takeAscii(std::basic_string_view<Unit> text, size_t at, Out& out) {
    if (at == text.size() || !isAscii(text[at]))
        return at;
    const size_t length = asciiLength(text.substr(at));
    const size_t before = out.size();
    out.resize(before + length);
    for (size_t i = 0; i < length; ++i)
        out[before + i] = static_cast<typename Out::value_type>(text[at + i]);
    return at + length;
}

constexpr char16_t lowerAscii(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

}  // namespace

std::string toUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (size_t at = takeAscii(text, 0, out); at < text.size(); at = takeAscii(text, at, out)) {
        const char16_t unit = text[at++];
        if (isHighSurrogate(unit) && at < text.size() && isLowSurrogate(text[at]))
            appendUtf8(out, 0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + (text[at++] - 0xDC00u));
        else
            appendUtf8(out, isHighSurrogate(unit) || isLowSurrogate(unit) ? replacement : unit);
    }
    return out;
}

std::u16string toUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (size_t at = takeAscii(text, 0, out); at < text.size(); at = takeAscii(text, at, out)) {
        const char32_t point = nextPoint(text, at);
        if (point == broken) {
            out += static_cast<char16_t>(replacement);
        } else if (point < 0x10000) {
            out += static_cast<char16_t>(point);
        } else {
            out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
        }
    }
    return out;
}

bool isUtf8(std::string_view text) noexcept {
    for (size_t at = asciiLength(text); at < text.size();) {
        if (nextPoint(text, at) == broken)
            return false;
    }
    return true;
}

std::u16string fromLittleEndian(std::string_view bytes) {
    std::u16string out(bytes.size() / 2, u'\0');
    for (size_t at = 0; at < out.size(); ++at)
        out[at] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * at]) |
                                        static_cast<unsigned char>(bytes[2 * at + 1]) << 8);
    return out;
}

std::string toLittleEndian(std::u16string_view text) {
    std::string out;
    out.reserve(2 * text.size());
    for (const char16_t unit : text) {
        out += static_cast<char>(unit & 0xFF);
        out += static_cast<char>(unit >> 8);
    }
    return out;
}

std::wstring toWideUnits(std::u16string_view text) {
    return {text.begin(), text.end()};
}

std::u16string_view cutText(std::u16string_view text, size_t length) noexcept {
    if (text.size() <= length)
        return text;
    if (length > 0 && isHighSurrogate(text[length - 1]) && isLowSurrogate(text[length]))
        --length;
    return text.substr(0, length);
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

std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view space = " \t\r\n";
    const size_t begin = text.find_first_not_of(space);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(space) - begin + 1);
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
