// Dynamic libraries, as the system loads them. Paths are in Windows form on every system.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Platform {

using LibraryHandle = void*;

// Loads a library by its full path, after the trust check. The file that was checked is the file that is
// loaded. Null on failure, with lastError() telling why (5, access denied, or the verdict's own number when
// the file is not trusted; 161 when the path is relative: anybody may have put a file into the current
// folder).
LibraryHandle loadLibrary(const std::u16string& path);
// The handle of a library that the process has loaded from that full path, with a reference of its own; null
// when it has not, and for a relative path (161).
LibraryHandle loadedLibrary(const std::u16string& path);
// The same for the library or executable that holds this address; null when none does.
LibraryHandle libraryContaining(const void* address);
void* libraryFunction(LibraryHandle library, const char* name);
bool freeLibrary(LibraryHandle library);

// From now on the process finds what its libraries depend on beside the program and among the system's own,
// and not in the current folder or along PATH. For programs, not for libraries: it holds for the whole
// process. Nothing where the loader does not look there anyway. False on failure, with lastError() telling
// why.
bool narrowLibrarySearch() noexcept;

// Full path of the library or executable that holds this address; empty when it cannot be told.
std::u16string libraryPathOf(const void* address);

// Whether a library file may be loaded into the process: signed by a trusted signer on Windows; elsewhere
// owned by root or the user and writable by nobody else. Always true while the number "Verify Libraries"
// under SOFTWARE\CORVANE\OSTREL is 0. False for an empty path; lastError() tells why.
bool verifyLibraryTrust(const std::u16string& path);
// The same rule in words, for messages to the user: "it must ...".
std::string_view libraryTrustRule() noexcept;

}  // namespace Platform
