#include "library/PathMacros.h"

#include <cstdint>
#include <utility>

#include "library/ExecutablePath.h"

namespace Ferrow {
namespace {

enum class Source : uint8_t { platform, executable, knownFolder };

enum ExecutablePart : uint8_t { drive = 1, directory = 2, name = 4, extension = 8 };

struct Macro {
    std::u16string_view text;
    Source source;
    uint8_t parts = 0;                // of the executable's path
    std::u16string_view folder = {};  // standard name of the known folder
};

constexpr Macro knownFolderMacro(std::u16string_view text) {
    constexpr std::u16string_view before = u"$(FOLDERID_";
    return {text, Source::knownFolder, 0, text.substr(before.size(), text.size() - before.size() - 1)};
}

constexpr Macro macros[] = {
    {u"$(OS.Platform)", Source::platform},
    {u"$(App.Binary)", Source::executable, name | extension},
    {u"$(App.Name)", Source::executable, name},
    {u"$(App.Folder)", Source::executable, drive | directory},
    {u"$(App.Path)", Source::executable, drive | directory | name | extension},
    knownFolderMacro(u"$(FOLDERID_Profile)"),
    knownFolderMacro(u"$(FOLDERID_Desktop)"),
    knownFolderMacro(u"$(FOLDERID_Documents)"),
    knownFolderMacro(u"$(FOLDERID_LocalAppDataLow)"),
    knownFolderMacro(u"$(FOLDERID_LocalAppData)"),
    knownFolderMacro(u"$(FOLDERID_RoamingAppData)"),
    knownFolderMacro(u"$(FOLDERID_ProgramData)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFiles)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFilesX64)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFilesX86)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFilesCommon)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFilesCommonX64)"),
    knownFolderMacro(u"$(FOLDERID_ProgramFilesCommonX86)"),
};

std::u16string platformName(uint32_t platform) {
    switch (platform) {
        case 0:
            return u"win32";  // compat
        case 1:
            return u"x64";
        case 2:
            return u"PlatformUnknown";
        default:
            return {};
    }
}

std::u16string executableText(uint8_t wanted) {
    const PathParts& parts = executablePathParts();
    std::u16string text;
    if (wanted & drive)
        text += parts.drive;
    if (wanted & directory)
        text += parts.directory;
    if (wanted & name)
        text += parts.name;
    if (wanted & extension)
        text += parts.extension;
    return text;
}

// The next macro at or after `from`: a dollar sign, an opening parenthesis, at least one character other
// than "$", "(" and ")", a closing parenthesis. Empty at the end when there is none.
std::u16string_view nextMacro(std::u16string_view text, size_t from) {
    size_t start;
    while ((start = text.find(u"$(", from)) != text.npos) {
        const size_t end = text.find_first_of(u"$()", start + 2);
        if (end == text.npos)
            break;
        if (text[end] == u')' && end > start + 2)
            return text.substr(start, end + 1 - start);
        from = end;
    }
    return text.substr(text.size());
}

}  // namespace

void expandMacros(std::u16string& path, const MacroValues& values) {
    const std::u16string_view text = path;
    std::u16string output;
    size_t done = 0;
    for (std::u16string_view macro = nextMacro(text, 0); !macro.empty(); macro = nextMacro(text, done)) {
        const size_t start = static_cast<size_t>(macro.data() - text.data());
        output += text.substr(done, start - done);
        const std::u16string value = values.valueOf(macro);
        output += value.empty() ? macro : std::u16string_view(value);  // compat
        done = start + macro.size();
    }
    if (done == 0)
        return;
    output += text.substr(done);
    path = std::move(output);
}

std::u16string commonMacroValue(std::u16string_view macro, Tavix::ShlObjAPI& folders,
                                internal::OSInfoProxy& system) {
    for (const Macro& known : macros) {
        if (known.text != macro)
            continue;
        switch (known.source) {
            case Source::platform:
                return platformName(system.platform());
            case Source::executable:
                return executableText(known.parts);
            case Source::knownFolder:
                return folders.knownFolder(known.folder);
        }
    }
    return {};
}

}  // namespace Ferrow
