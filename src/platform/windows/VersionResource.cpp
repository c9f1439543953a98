#include "platform/VersionResource.h"

#include <algorithm>
#include <vector>
#include <windows.h>

#include "platform/windows/Wide.h"

namespace Platform {
namespace {

void appendHexadecimal(std::u16string& text, uint16_t number) {
    for (int shift = 12; shift >= 0; shift -= 4)
        text += u"0123456789ABCDEF"[(number >> shift) & 0xF];
}

}  // namespace

std::optional<std::u16string> fileVersion(const std::u16string& path) {
    const std::u16string system = systemPath(path);
    DWORD ignored = 0;
    const DWORD size = system.empty() ? 0 : GetFileVersionInfoSizeW(wide(system), &ignored);
    if (size == 0)
        return std::nullopt;
    std::vector<unsigned char> block(size);
    if (!GetFileVersionInfoW(wide(system), 0, size, block.data()))
        return std::nullopt;
    void* found = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &found, &length) || !found ||
        length < 2 * sizeof(uint16_t))
        return std::nullopt;
    const auto* translation = static_cast<const uint16_t*>(found);  // language, code page
    std::u16string name = u"\\StringFileInfo\\";
    appendHexadecimal(name, translation[0]);
    appendHexadecimal(name, translation[1]);
    name += u"\\FileVersion";
    if (!VerQueryValueW(block.data(), wide(name), &found, &length) || !found)
        return std::nullopt;
    // The length counts a terminator. A malformed resource may lack or repeat it, or give a wrong length.
    const auto room =
        static_cast<size_t>(block.data() + block.size() - static_cast<const unsigned char*>(found));
    std::u16string version(static_cast<const char16_t*>(found),
                           std::min<size_t>(length, room / sizeof(char16_t)));
    version.resize(std::min(version.find(u'\0'), version.size()));
    return version;
}

}  // namespace Platform
