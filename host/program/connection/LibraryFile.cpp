#include "host/program/connection/LibraryFile.h"

#include "host/program/connection/HostError.h"
#include "platform/Files.h"
#include "platform/Process.h"

namespace Host {
namespace {

std::string shown(const std::u16string& path) {
    return "\"" + Platform::nativePath(path) + "\"";
}

}  // namespace

std::u16string besideProgram(const std::u16string& fileName) {
    const std::u16string program = Platform::executablePath();
    return program.substr(0, program.rfind(u'\\') + 1) + fileName;
}

LibraryFile::LibraryFile(const std::u16string& path) : path_(path) {
    if (!Platform::fileExists(path))
        throw HostError("there is no library " + shown(path));
    library_ = Platform::loadLibrary(path);
    if (!library_)
        throw HostError("the library " + shown(path) + " cannot be loaded (error " +
                        std::to_string(Platform::lastError()) + "); " +
                        std::string(Platform::libraryTrustRule()));
}

void* LibraryFile::address(const char* name) const {
    void* found = Platform::libraryFunction(library_, name);
    if (!found)
        throw HostError("the library " + shown(path_) + " does not export " + name);
    return found;
}

}  // namespace Host
