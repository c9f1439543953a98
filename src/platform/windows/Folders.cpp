#include "platform/Folders.h"

#include <initguid.h>
#include <windows.h>
// The known folders' identifiers are defined here, so this comes after initguid.h.
#include <knownfolders.h>
#include <shlobj.h>

#include "platform/windows/Wide.h"

namespace Platform {
namespace {

struct NamedFolder {
    std::u16string_view name;
    const GUID& identifier;
};

constexpr NamedFolder folders[] = {
    {u"Profile", FOLDERID_Profile},
    {u"Desktop", FOLDERID_Desktop},
    {u"Documents", FOLDERID_Documents},
    {u"LocalAppDataLow", FOLDERID_LocalAppDataLow},
    {u"LocalAppData", FOLDERID_LocalAppData},
    {u"RoamingAppData", FOLDERID_RoamingAppData},
    {u"ProgramData", FOLDERID_ProgramData},
    {u"ProgramFiles", FOLDERID_ProgramFiles},
    {u"ProgramFilesX64", FOLDERID_ProgramFilesX64},
    {u"ProgramFilesX86", FOLDERID_ProgramFilesX86},
    {u"ProgramFilesCommon", FOLDERID_ProgramFilesCommon},
    {u"ProgramFilesCommonX64", FOLDERID_ProgramFilesCommonX64},
    {u"ProgramFilesCommonX86", FOLDERID_ProgramFilesCommonX86},
};

}  // namespace

std::u16string platformFolder() {
    return {};
}

std::u16string commonDataFolder() {
    return knownFolder(u"ProgramData");
}

std::u16string knownFolder(std::u16string_view name) {
    for (const NamedFolder& folder : folders) {
        if (folder.name != name)
            continue;
        wchar_t* found = nullptr;
        std::u16string path;
        if (SUCCEEDED(SHGetKnownFolderPath(folder.identifier, KF_FLAG_DEFAULT, nullptr, &found)) && found)
            path = narrow(found);
        CoTaskMemFree(found);
        return path;
    }
    return {};
}

}  // namespace Platform
