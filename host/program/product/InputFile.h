// Files that the user names on the command line.
#pragma once

#include <cstddef>
#include <string>

namespace Host {

// Reads at most that many bytes of the file, given by its path in Windows form, or of standard input for "-".
// False, with why in error, when it cannot be read.
bool readInput(const std::u16string& path, size_t most, std::string& bytes, std::u16string& error);

// What to call it.
std::u16string inputName(const std::u16string& path);

}  // namespace Host
