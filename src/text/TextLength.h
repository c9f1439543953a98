// The length of texts that end with a zero.
#pragma once

#include <cstddef>
#include <string_view>

namespace Ferrow {

// In units, without the zero. Payloads are long: what the standard library does takes them unit by unit.
size_t textLength(const char16_t* text) noexcept;

// A null text counts as empty.
inline std::u16string_view viewOf(const char16_t* text) noexcept {
    return text ? std::u16string_view(text, textLength(text)) : std::u16string_view();
}

}  // namespace Ferrow
