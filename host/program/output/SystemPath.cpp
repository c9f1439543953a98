#include "host/program/output/SystemPath.h"

#include "platform/Files.h"
#include "text/Utf.h"

namespace Host {

std::filesystem::path systemPath(const std::u16string& path) {
    const std::string native = Platform::nativePath(path);
    return std::u8string(native.begin(), native.end());
}

std::u16string shownPath(const std::u16string& path) {
    return Ferrow::toUtf16(Platform::nativePath(path));
}

}  // namespace Host
