// Edits the text of an INI file without disturbing what it does not change: comments, order, line ends and
// byte order mark stay.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Platform {

// Texts are the bytes of a file: UTF-8 with or without byte order mark, or UTF-16 with one. Sections and keys
// are compared without case; of several, the first counts. Lines that begin with ";" or "#" are comments.
// Blanks around names and values do not count, nor does one pair of quotes around a value.
std::optional<std::u16string> readIniValue(std::string_view text, std::u16string_view section,
                                           std::u16string_view key);

// The text with the value set. Nothing when section, key or value cannot be written so that reading gives
// them back (line ends, brackets, an "=" in the key).
std::optional<std::string> withIniValue(std::string_view text, std::u16string_view section,
                                        std::u16string_view key, std::u16string_view value);

}  // namespace Platform
