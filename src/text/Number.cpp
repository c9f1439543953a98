#include "text/Number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace Ferrow {

namespace {

constexpr std::u16string_view whiteSpace = u" \t\n\v\f\r";

bool isDigit(char16_t unit) noexcept {
    return unit >= u'0' && unit <= u'9';
}

// Takes white space and a sign off the front; true for a minus.
bool takeSign(std::u16string_view& text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(whiteSpace), text.size()));
    if (text.empty() || (text.front() != u'-' && text.front() != u'+'))
        return false;
    const bool negative = text.front() == u'-';
    text.remove_prefix(1);
    return negative;
}

ParsedNumber<uint64_t> magnitude(std::u16string_view text, uint64_t largest) noexcept {
    if (text.empty() || !isDigit(text.front()))
        return {0, NumberError::invalid};
    uint64_t value = 0;
    for (size_t i = 0; i < text.size() && isDigit(text[i]); ++i) {
        const uint64_t digit = text[i] - u'0';
        if (value > (largest - digit) / 10)
            return {0, NumberError::outOfRange};
        value = value * 10 + digit;
    }
    return {value};
}

template <class T>
ParsedNumber<T> parseSigned(std::u16string_view text) noexcept {
    const bool negative = takeSign(text);
    const uint64_t largest = static_cast<uint64_t>(std::numeric_limits<T>::max()) + (negative ? 1 : 0);
    const ParsedNumber<uint64_t> number = magnitude(text, largest);
    return {static_cast<T>(negative ? 0 - number.value : number.value), number.error};
}

template <class T>
ParsedNumber<T> parseUnsigned(std::u16string_view text) noexcept {
    const bool negative = takeSign(text);
    const ParsedNumber<uint64_t> number = magnitude(text, std::numeric_limits<T>::max());
    return {static_cast<T>(negative ? 0 - number.value : number.value), number.error};
}

std::u16string printed(double number, std::chars_format format, int precision) {
    std::array<char, 512> digits;  // the largest double has 309 digits before the point
    const std::to_chars_result end =
        std::to_chars(digits.data(), digits.data() + digits.size(), number, format, precision);
    return std::u16string(digits.data(), end.ptr);
}

}  // namespace

ParsedNumber<int32_t> parseSigned32(std::u16string_view text) noexcept {
    return parseSigned<int32_t>(text);
}

ParsedNumber<uint32_t> parseUnsigned32(std::u16string_view text) noexcept {
    return parseUnsigned<uint32_t>(text);
}

ParsedNumber<int64_t> parseSigned64(std::u16string_view text) noexcept {
    return parseSigned<int64_t>(text);
}

ParsedNumber<uint64_t> parseUnsigned64(std::u16string_view text) noexcept {
    return parseUnsigned<uint64_t>(text);
}

ParsedNumber<double> parseReal(std::u16string_view text) {
    const bool negative = takeSign(text);
    // What can belong to a number is plain ASCII; a second sign would be one too many.
    size_t length = 0;
    while (length < text.size() && text[length] > 0x20 && text[length] < 0x7F)
        ++length;
    std::string digits(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    if (digits.starts_with('-'))
        return {0, NumberError::invalid};

    double value = 0;
    std::from_chars_result result{};
    const bool prefixed = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    if (prefixed && digits[2] != '-')
        result =
            std::from_chars(digits.data() + 2, digits.data() + digits.size(), value, std::chars_format::hex);
    // "0x" without digits is the number 0 and a rest. A prefixed "inf" or "nan" is none either.
    if (!prefixed || result.ec == std::errc::invalid_argument || value != value ||
        value == std::numeric_limits<double>::infinity())
        result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (result.ec == std::errc::result_out_of_range)
        return {0, NumberError::outOfRange};
    if (result.ec != std::errc())
        return {0, NumberError::invalid};
    return {negative ? -value : value};
}

std::u16string generalReal(double number) {
    return printed(number, std::chars_format::general, 16);
}

std::u16string fixedReal(double number) {
    return printed(number, std::chars_format::fixed, 6);
}

}  // namespace Ferrow
