#include "platform/Folders.h"

#include <cstdlib>

#include "platform/Files.h"

namespace Platform {

std::u16string platformFolder() {
    const char* value = std::getenv("BREVANT_PLATFORM_DIR");
    std::u16string folder = portablePath(value && *value ? value : "/var/lib/brevant");
    while (folder.size() > 1 && folder.back() == u'\\')
        folder.pop_back();
    return folder;
}

std::u16string commonDataFolder() {
    std::u16string folder = platformFolder() + u"\\data";
    createFolders(folder);
    return folder;
}

std::u16string knownFolder(std::u16string_view name) {
    return name == u"ProgramData" ? commonDataFolder() : std::u16string();
}

}  // namespace Platform
