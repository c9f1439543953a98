// Texts from outside on their way to a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

// One line without anything that steers a terminal: control characters (C0, DEL, C1, and with them every
// escape sequence), direction and other invisible format characters, lone surrogates and piled-up combining
// marks are replaced by visible signs or left out. Line ends show as a sign too.
std::u16string harmless(std::u16string_view text);

// The same for a JSON text: what would be replaced is written as \uXXXX, which stands for the same text.
std::u16string harmlessJson(std::u16string_view json);

// Columns that a harmless text takes: two for wide characters, none for combining marks.
size_t columnsOf(std::u16string_view text);

// The harmless lines of a text, none wider than the columns, which are at least 2: broken at the text's own
// line ends and at blanks, inside a word only when it is wider than a line. The last line ends in "…" when
// there would have been more than maximumLines.
std::vector<std::u16string> wrapped(std::u16string_view text, size_t columns, size_t maximumLines);

// The text cut to the columns, with "…" at its end when something is missing.
std::u16string shortened(std::u16string_view text, size_t columns);

}  // namespace Host
