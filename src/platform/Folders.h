// Where the system keeps things.
#pragma once

#include <string>
#include <string_view>

namespace Platform {

// The platform folder of a system without a registry (environment BREVANT_PLATFORM_DIR, else
// /var/lib/brevant), in Windows form; empty on Windows.
std::u16string platformFolder();

// Folder for application data of all users, without a trailing separator; created when missing.
std::u16string commonDataFolder();

// A known folder by its standard name ("ProgramData", "LocalAppDataLow", ...: the names behind FOLDERID_);
// empty when the system has none of that name.
std::u16string knownFolder(std::u16string_view name);

}  // namespace Platform
