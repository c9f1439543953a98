// Between the product's texts and paths and what this system's calls take.
#pragma once

#include <string>
#include <string_view>

namespace Platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline const wchar_t* wide(const char16_t* text) noexcept {
    return reinterpret_cast<const wchar_t*>(text);
}
inline const wchar_t* wide(const std::u16string& text) noexcept {
    return wide(text.c_str());
}
inline wchar_t* wide(char16_t* text) noexcept {
    return reinterpret_cast<wchar_t*>(text);
}
inline const char16_t* narrow(const wchar_t* text) noexcept {
    return reinterpret_cast<const char16_t*>(text);
}

// The full path for a system call: in the form without a length limit when it is long. Empty, with the last
// error set, for a path that cannot name a file.
std::u16string systemPath(const std::u16string& path);

// Full path of a loaded library or, for null, of the program; empty, with the last error set, on failure.
std::u16string modulePath(void* module);

}  // namespace Platform
