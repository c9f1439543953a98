// Conversions between UTF-8 and UTF-16, and what is done with texts where only ASCII counts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Ferrow {

// What is malformed (a lone surrogate, a broken UTF-8 sequence) becomes U+FFFD.
std::string toUtf8(std::u16string_view text);
std::u16string toUtf16(std::string_view text);

bool isUtf8(std::string_view text) noexcept;

// UTF-16 little-endian bytes, without a byte order mark; an odd last byte is dropped.
std::u16string fromLittleEndian(std::string_view bytes);
std::string toLittleEndian(std::u16string_view text);

// One wchar_t per UTF-16 unit, whatever the width of wchar_t: for the standard library's wide classes, which
// have no char16_t form. A pair of surrogates stays two units on every system.
std::wstring toWideUnits(std::u16string_view text);

// The first units of a text, one fewer where the cut would part a pair of surrogates.
std::u16string_view cutText(std::u16string_view text, size_t length) noexcept;

// Lower case of A to Z only; every other unit stays as it is.
std::u16string toLowerAscii(std::u16string_view text);
bool equalsIgnoringAsciiCase(std::u16string_view left, std::u16string_view right) noexcept;

// Without blanks, tabs and line ends around it.
std::string_view trimmed(std::string_view text) noexcept;

// Decimal form of a number.
std::u16string decimal(uint64_t value);
std::u16string decimalSigned(int64_t value);

}  // namespace Ferrow
