// Numbers at the head of a text, read on every system as the standard conversions of Windows read them:
// white space and a sign are skipped, what follows the digits is ignored, `unsigned long` has 32 bits and
// takes a minus sign by wrapping round. No locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Ferrow {

enum class NumberError : uint8_t {
    none,
    invalid,     // no digits
    outOfRange,  // does not fit the type
};

template <class T>
struct ParsedNumber {
    T value = 0;  // 0 on failure
    NumberError error = NumberError::none;

    explicit operator bool() const noexcept { return error == NumberError::none; }
};

// Base 10.
ParsedNumber<int32_t> parseSigned32(std::u16string_view text) noexcept;
ParsedNumber<uint32_t> parseUnsigned32(std::u16string_view text) noexcept;
ParsedNumber<int64_t> parseSigned64(std::u16string_view text) noexcept;
ParsedNumber<uint64_t> parseUnsigned64(std::u16string_view text) noexcept;
// Also "inf", "infinity", "nan" in any case, and hexadecimal with "0x".
ParsedNumber<double> parseReal(std::u16string_view text);

// As "%.16g": at most 16 significant digits, no trailing zeros.
std::u16string generalReal(double number);
// As "%f": six decimals.
std::u16string fixedReal(double number);

}  // namespace Ferrow
