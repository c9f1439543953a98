// Text conversions of this layer's own, which stands below everything else.
#pragma once

#include <string>
#include <string_view>

namespace Platform {

// What is malformed becomes U+FFFD.
std::string utf8Of(std::u16string_view text);
std::u16string utf16Of(std::string_view text);

bool isUtf8(std::string_view text) noexcept;

// UTF-16 little-endian bytes, without a byte order mark; an odd last byte is dropped.
std::u16string utf16OfBytes(std::string_view bytes);
std::string bytesOfUtf16(std::u16string_view text);

// Names of registry keys, sections and values are compared in this form: A to Z in lower case.
std::u16string foldCase(std::u16string_view text);

// White space around a line or a value: blanks, tabs and line ends.
std::string_view trimmed(std::string_view text) noexcept;

}  // namespace Platform
