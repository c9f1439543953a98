// Paths in Windows form on their way out: to the standard library and to the user.
#pragma once

#include <filesystem>
#include <string>

namespace Host {

std::filesystem::path systemPath(const std::u16string& path);
// As the user writes it on this system.
std::u16string shownPath(const std::u16string& path);

}  // namespace Host
