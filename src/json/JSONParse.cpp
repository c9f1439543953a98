#include "json/JSONParse.h"

namespace Tavix {
namespace {

// Far beyond what any double needs, far below what an int holds.
constexpr size_t mostExponentDigits = 8;

bool isDigit(char16_t unit) noexcept {
    return unit >= u'0' && unit <= u'9';
}

// Whether "e-" ends there.
bool isExponentMinus(std::u16string_view text, size_t at) noexcept {
    constexpr char16_t upperToLower = 0x20;
    return (text[at] == u'-') & (static_cast<char16_t>(text[at - 1] | upperToLower) == u'e');
}

// The end of the digits that begin there.
size_t digitsEnd(std::u16string_view text, size_t at) noexcept {
    while (at < text.size() && isDigit(text[at]))
        ++at;
    return at;
}

}  // namespace

bool mayHoldLongExponent(std::u16string_view text) noexcept {
    const auto isLong = [&](size_t at) {
        return isExponentMinus(text, at) && digitsEnd(text, at + 1) - at > mostExponentDigits + 1;
    };
    // Most blocks hold no exponent, which compilers find out several units at a time.
    constexpr size_t block = 32;
    size_t start = 1;
    for (; start + block <= text.size(); start += block) {
        char16_t found = 0;
        for (size_t at = 0; at < block; ++at)
            found |= isExponentMinus(text, start + at);
        for (size_t at = start; found && at < start + block; ++at) {
            if (isLong(at))
                return true;
        }
    }
    for (; start < text.size(); ++start) {
        if (isLong(start))
            return true;
    }
    return false;
}

std::u16string withoutLongExponents(std::u16string_view text) {
    std::u16string result;
    result.reserve(text.size());
    bool inString = false;
    for (size_t at = 0; at < text.size(); ++at) {
        result += text[at];
        if (text[at] == u'"') {
            inString = !inString;
        } else if (inString && text[at] == u'\\' && at + 1 < text.size()) {
            result += text[++at];
        } else if (!inString && at > 0 && isExponentMinus(text, at)) {
            const size_t end = digitsEnd(text, at + 1);
            while (at + 2 < end && text[at + 1] == u'0')
                ++at;
            result += text.substr(at + 1, std::min(end - at - 1, mostExponentDigits));
            at = end - 1;
        }
    }
    return result;
}

}  // namespace Tavix
