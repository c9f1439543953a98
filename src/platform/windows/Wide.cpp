#include "platform/windows/Wide.h"

#include <windows.h>

namespace Platform {

std::u16string systemPath(const std::u16string& path) {
    if (path.empty() || path.find(u'\0') != std::u16string::npos) {
        SetLastError(path.empty() ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_NAME);
        return {};
    }
    // A folder may have twelve characters less than a file; temporary names need some more.
    constexpr size_t longestShort = 200;
    const bool absolute =
        path.starts_with(u"\\\\") || (path.size() > 2 && path[1] == u':' && path[2] == u'\\');
    if (path.starts_with(u"\\\\?\\") || (absolute && path.size() < longestShort))
        return path;
    const DWORD needed = GetFullPathNameW(wide(path), 0, nullptr, nullptr);
    std::u16string full(needed, u'\0');
    const DWORD length = needed ? GetFullPathNameW(wide(path), needed, wide(full.data()), nullptr) : 0;
    if (length == 0 || length >= needed)
        return path;
    full.resize(length);
    if (full.size() < longestShort)
        return full;
    return full.starts_with(u"\\\\") ? u"\\\\?\\UNC\\" + full.substr(2) : u"\\\\?\\" + full;
}

std::u16string modulePath(void* module) {
    constexpr size_t longest = 32768;
    std::u16string path(MAX_PATH, u'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(module), wide(path.data()),
                                                static_cast<DWORD>(path.size()));
        if (length == 0)
            return {};
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        if (path.size() >= longest)
            return {};
        path.resize(path.size() * 2);
    }
}

}  // namespace Platform
