#include "library/ShlObjAPI.h"

#include "platform/Folders.h"

namespace Tavix {

std::u16string ShlObjAPI::knownFolder(std::u16string_view name) {
    return Platform::knownFolder(name);
}

}  // namespace Tavix
