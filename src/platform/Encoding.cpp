#include "platform/Encoding.h"

#include <cstdint>
#include <optional>

namespace Platform {
namespace {

constexpr char32_t replacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// Takes one code point from the front of the text; nothing for a malformed sequence, of which the part that
// cannot begin another one is taken.
std::optional<char32_t> takeUtf8(std::string_view& text) {
    const auto lead = static_cast<uint8_t>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80)
        return lead;
    const int more = lead >= 0xC2 && lead <= 0xDF   ? 1
                     : lead >= 0xE0 && lead <= 0xEF ? 2
                     : lead >= 0xF0 && lead <= 0xF4 ? 3
                                                    : 0;
    if (more == 0)
        return std::nullopt;
    char32_t code = lead & (0x3F >> more);
    for (int index = 0; index < more; ++index) {
        if (text.empty())
            return std::nullopt;
        const auto next = static_cast<uint8_t>(text.front());
        // The first continuation byte decides overlong forms, surrogates and the end of the range.
        const uint8_t least = index > 0 ? 0x80 : lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
        const uint8_t most = index > 0 ? 0xBF : lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        if (next < least || next > most)
            return std::nullopt;
        code = (code << 6) | (next & 0x3F);
        text.remove_prefix(1);
    }
    return code;
}

}  // namespace

std::string utf8Of(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t index = 0; index < text.size(); ++index) {
        char32_t code = text[index];
        if (code >= 0xD800 && code <= 0xDFFF) {
            const bool pair = code < 0xDC00 && index + 1 < text.size() && text[index + 1] >= 0xDC00 &&
                              text[index + 1] <= 0xDFFF;
            code = pair ? 0x10000 + ((code - 0xD800) << 10) + (text[++index] - 0xDC00) : replacement;
        }
        appendUtf8(out, code);
    }
    return out;
}

std::u16string utf16Of(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const char32_t code = takeUtf8(text).value_or(replacement);
        if (code >= 0x10000) {
            out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
        } else {
            out += static_cast<char16_t>(code);
        }
    }
    return out;
}

bool isUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        if (!takeUtf8(text))
            return false;
    }
    return true;
}

std::u16string utf16OfBytes(std::string_view bytes) {
    std::u16string out(bytes.size() / 2, u'\0');
    for (size_t index = 0; index < out.size(); ++index)
        out[index] = static_cast<char16_t>(static_cast<uint8_t>(bytes[2 * index]) |
                                           (static_cast<uint8_t>(bytes[2 * index + 1]) << 8));
    return out;
}

std::string bytesOfUtf16(std::u16string_view text) {
    std::string out;
    out.reserve(2 * text.size());
    for (const char16_t unit : text) {
        out += static_cast<char>(unit & 0xFF);
        out += static_cast<char>(unit >> 8);
    }
    return out;
}

std::u16string foldCase(std::u16string_view text) {
    std::u16string out(text);
    for (char16_t& unit : out) {
        if (unit >= u'A' && unit <= u'Z')
            unit = static_cast<char16_t>(unit - u'A' + u'a');
    }
    return out;
}

std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view space = " \t\r\n";
    const size_t begin = text.find_first_not_of(space);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(space) - begin + 1);
}

}  // namespace Platform
