#include "logging/FileLogIdentity.h"

#include <string_view>
#include <utility>

#include "logging/LogsFolder.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"

namespace ETWLogging {
namespace {

std::u16string_view fileNameOf(std::u16string_view path) {
    return path.substr(path.rfind(u'\\') + 1);
}

}  // namespace

std::u16string logFolderOf(const FileLogIdentity& identity, const std::u16string& commonDataFolder) {
    std::u16string folder = commonDataFolder;
    folder += logsFolder;
    for (const std::u16string& name : {identity.group, identity.name}) {
        if (!name.empty())
            (folder += u'\\') += name;
    }
    return folder;
}

FileLogIdentity processFileLogIdentity(std::u16string group) {
    const std::u16string executable = Platform::executablePath();
    const std::u16string library =
        Platform::libraryPathOf(reinterpret_cast<const void*>(&processFileLogIdentity));
    const std::u16string_view host = fileNameOf(executable);
    FileLogIdentity identity;
    identity.name = host.substr(0, host.rfind(u'.'));
    identity.logName = library.empty() ? host : fileNameOf(library);
    identity.group = std::move(group);
    identity.processId = Platform::currentProcessId();
    return identity;
}

}  // namespace ETWLogging
