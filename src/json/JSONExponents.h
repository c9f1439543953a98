// RapidJSON's reader adds a number's exponent and fraction digits up in an int, which the text
// 0.00000000001e-2147483639 overflows.
#pragma once

#include <string>
#include <string_view>

namespace Tavix {

// Whether the text may hold a number with so long a negative exponent. Fast, for every text goes through it.
bool mayHoldLongExponent(std::u16string_view text) noexcept;

// The text with blanks in place of what such exponents have too much, so that every other unit stays where it
// is. No value changes: noughts that lead count nothing, and an exponent of more digits than stay makes any
// number nought. For char and char16_t.
template <class Unit>
std::basic_string<Unit> withShortExponents(std::basic_string_view<Unit> text);

}  // namespace Tavix
