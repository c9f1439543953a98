#include "platform/VersionResource.h"

namespace Platform {

std::optional<std::u16string> fileVersion(const std::u16string&) {
    return std::nullopt;
}

}  // namespace Platform
