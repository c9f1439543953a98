#include "library/FileVersionReader.h"

#include "platform/VersionResource.h"

namespace Tavix {

std::optional<std::u16string> FileVersionReader::fileVersion(const std::u16string& path) {
    return Platform::fileVersion(path);
}

}  // namespace Tavix
