#include "library/PathAPI.h"

#include "platform/Files.h"

namespace Tavix {

bool PathAPI::fileExists(const std::u16string& path) {
    return Platform::fileExists(path);
}

std::u16string PathAPI::combine(const std::u16string& folder, const std::u16string& name) {
    std::u16string path;
    path.reserve(folder.size() + 1 + name.size());
    return path.append(folder).append(1, u'\\').append(name);
}

}  // namespace Tavix
