#include "platform/DynamicLibrary.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>

#include "platform/Files.h"
#include "platform/LibraryTrust.h"
#include "platform/Process.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/NativeErrors.h"

namespace Platform {
namespace {

// The path as the loader takes it: with a separator, for it would look a bare name up elsewhere. Empty for
// what is no path.
std::string loaderPath(const std::u16string& path) {
    if (path.empty() || path.find(u'\0') != std::u16string::npos) {
        setLastError(errorInvalidName);
        return {};
    }
    std::string native = nativePath(path);
    return native.find('/') == std::string::npos ? "./" + native : native;
}

std::string fullLoaderPath(const std::u16string& path) {
    std::string native = loaderPath(path);
    if (!native.empty() && native.front() != '/') {
        setLastError(errorBadPathName);
        native.clear();
    }
    return native;
}

FileDescriptor openForTrust(const std::string& path) {
    FileDescriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!file)
        setLastSystemError(errno);
    return file;
}

// Whether nobody but root and the user can have put anything into the file.
bool trusted(const struct stat& status) {
    const bool trustedOwner = status.st_uid == 0 || status.st_uid == geteuid();
    if (S_ISREG(status.st_mode) && trustedOwner && !(status.st_mode & (S_IWGRP | S_IWOTH)))
        return true;
    setLastError(errorAccessDenied);
    return false;
}

// Whether the file has all that its header says is to be mapped. The loader maps a file that was cut short,
// as while it is being copied, and the process dies at the first touch of what is missing.
bool complete(const std::string& path, uint64_t size) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto read = [&](auto& into, uint64_t offset) {
        return pread(file.get(), &into, sizeof into, static_cast<off_t>(offset)) ==
               static_cast<ssize_t>(sizeof into);
    };
    ElfW(Ehdr) header{};
    if (!read(header, 0))
        return false;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment{};
        if (!read(segment, header.e_phoff + uint64_t{i} * sizeof segment))
            return false;
        if (segment.p_type == PT_LOAD &&
            (segment.p_offset > size || segment.p_filesz > size - segment.p_offset))
            return false;
    }
    return true;
}

bool names(const std::string& path, const struct stat& file) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino;
}

// The loader's name of what holds this address, empty for the program itself; null when nothing does.
const char* loaderNameOf(const void* address) {
    Dl_info info{};
    void* extra = nullptr;
    if (address && dladdr1(address, &info, &extra, RTLD_DL_LINKMAP) != 0)
        return static_cast<const link_map*>(extra)->l_name;
    setLastError(errorModuleNotFound);
    return nullptr;
}

}  // namespace

LibraryHandle loadLibrary(const std::u16string& path) {
    const std::string native = fullLoaderPath(path);
    if (native.empty())
        return nullptr;
    const FileDescriptor file = openForTrust(native);
    if (!file) {
        if (lastError() == errorFileNotFound)
            setLastError(errorModuleNotFound);
        return nullptr;
    }
    struct stat checked {};
    if (fstat(file.get(), &checked) != 0) {
        setLastSystemError(errno);
        return nullptr;
    }
    if (!S_ISREG(checked.st_mode)) {
        setLastError(errorAccessDenied);
        return nullptr;
    }
    const bool verify = librariesAreVerified();
    if (verify && !trusted(checked))
        return nullptr;
    // The loader must be given the path, not the open file: addresses, debuggers and the library's own
    // $ORIGIN are resolved through the name it was loaded by. So the name has to lead to the checked file
    // before and after.
    if (verify && !names(native, checked)) {
        setLastError(errorAccessDenied);
        return nullptr;
    }
    void* library = complete(native, static_cast<uint64_t>(checked.st_size))
                        ? dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL)
                        : nullptr;
    if (!library) {
        setLastError(errorBadExecutable);
        return nullptr;
    }
    if (verify && !names(native, checked)) {
        dlclose(library);
        setLastError(errorAccessDenied);
        return nullptr;
    }
    return library;
}

LibraryHandle loadedLibrary(const std::u16string& path) {
    const std::string native = fullLoaderPath(path);
    if (native.empty())
        return nullptr;
    // The loader opens the file although it shall not load it, and would wait for the other end of a pipe.
    struct stat status {};
    const bool regular = stat(native.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    void* library = regular ? dlopen(native.c_str(), RTLD_NOW | RTLD_NOLOAD) : nullptr;
    if (!library)
        setLastError(errorModuleNotFound);
    return library;
}

LibraryHandle libraryContaining(const void* address) {
    const char* name = loaderNameOf(address);
    if (!name)
        return nullptr;
    void* library = dlopen(*name ? name : nullptr, RTLD_NOW | RTLD_NOLOAD);
    if (!library)
        setLastError(errorModuleNotFound);
    return library;
}

void* libraryFunction(LibraryHandle library, const char* name) {
    void* function = library && name ? dlsym(library, name) : nullptr;
    if (!function)
        setLastError(library ? errorProcedureNotFound : errorInvalidHandle);
    return function;
}

bool freeLibrary(LibraryHandle library) {
    if (library && dlclose(library) == 0)
        return true;
    setLastError(errorInvalidHandle);
    return false;
}

bool narrowLibrarySearch() noexcept {
    return true;
}

std::u16string libraryPathOf(const void* address) {
    const char* name = loaderNameOf(address);
    if (!name)
        return {};
    if (!*name)
        return executablePath();
    char* resolved = realpath(name, nullptr);
    if (!resolved) {
        setLastSystemError(errno);
        return {};
    }
    std::u16string path = portablePath(resolved);
    std::free(resolved);
    return path;
}

bool verifyLibraryTrust(const std::u16string& path) {
    const std::string native = loaderPath(path);
    if (native.empty()) {
        setLastError(errorInvalidParameter);
        return false;
    }
    if (!librariesAreVerified())
        return true;
    const FileDescriptor file = openForTrust(native);
    struct stat status {};
    if (!file)
        return false;
    if (fstat(file.get(), &status) != 0) {
        setLastSystemError(errno);
        return false;
    }
    return trusted(status);
}

std::string_view libraryTrustRule() noexcept {
    return "it must belong to root or to you, and nobody else may be able to write it";
}

}  // namespace Platform
