#include "json/JSONExponents.h"

#include <algorithm>

namespace Tavix {
namespace {

// Far beyond what any double needs, far below what an int holds.
constexpr size_t mostExponentDigits = 8;

template <class Unit>
bool isDigit(Unit unit) noexcept {
    return unit >= '0' && unit <= '9';
}

// Whether "e-" ends there; without a branch.
template <class Unit>
bool isExponentMinus(std::basic_string_view<Unit> text, size_t at) noexcept {
    constexpr Unit upperToLower = 0x20;
    return ((text[at] ^ '-') | ((text[at - 1] | upperToLower) ^ 'e')) == 0;
}

// The end of the digits that begin there.
template <class Unit>
size_t digitsEnd(std::basic_string_view<Unit> text, size_t at) noexcept {
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

template <class Unit>
std::basic_string<Unit> withShortExponents(std::basic_string_view<Unit> text) {
    std::basic_string<Unit> result(text);
    bool inString = false;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') {
            inString = !inString;
        } else if (inString) {
            at += text[at] == '\\';
        } else if (at > 0 && isExponentMinus(text, at)) {
            size_t digits = at + 1;
            const size_t end = digitsEnd(text, digits);
            while (digits + 1 < end && text[digits] == '0')
                ++digits;
            const size_t kept = std::min(end - digits, mostExponentDigits);
            const auto to = result.begin() + static_cast<std::ptrdiff_t>(at) + 1;
            std::fill(std::copy_n(text.begin() + digits, kept, to),
                      result.begin() + static_cast<std::ptrdiff_t>(end), Unit{' '});
            at = end - 1;
        }
    }
    return result;
}

template std::string withShortExponents(std::string_view);
template std::u16string withShortExponents(std::u16string_view);

}  // namespace Tavix
