// The system as this room uses it, each call replaceable.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DynamicLibrary.h"
#include "platform/OsInfo.h"

namespace Tavix {

// The platform's loader, replaceable call by call.
class DllAPI {
public:
    virtual ~DllAPI() = default;
    // Loads a library by its full path when it passes the trust check. What fails is logged with the
    // platform's last error, which is the check's own when the file is not trusted.
    virtual bool loadLibrary(const std::u16string& path, Platform::LibraryHandle* handle);
    virtual void* getProcAddress(Platform::LibraryHandle handle, const char* name);
    // False for an empty path.
    virtual bool verifyTrust(const std::u16string& path);
    virtual bool freeLibrary(Platform::LibraryHandle handle);
    // A library that the process has loaded already, with a reference of its own. Flags other than 0 are not
    // offered.
    virtual bool getModuleHandleEx(uint32_t flags, const std::u16string& path,
                                   Platform::LibraryHandle* handle);
};

// The platform's path and file functions, replaceable call by call.
class PathAPI {
public:
    virtual ~PathAPI() = default;
    virtual bool fileExists(const std::u16string& path);
    // Folder, separator, name. The separator is always added.
    virtual std::u16string combine(const std::u16string& folder, const std::u16string& name);
};

// Versions of library files, replaceable.
class FileVersionReader {
public:
    virtual ~FileVersionReader() = default;
    // The string "FileVersion" of the file's version resource; nothing when the file has none.
    virtual std::optional<std::u16string> fileVersion(const std::u16string& path);
};

// The shell's known folders, replaceable.
class ShlObjAPI {
public:
    virtual ~ShlObjAPI() = default;
    // By the standard name behind FOLDERID_ ("ProgramData"); empty when the query fails.
    virtual std::u16string knownFolder(std::u16string_view name);
};

// Texts of the registry, replaceable.
class RegistryAPI {
public:
    virtual ~RegistryAPI() = default;
    // A text value below HKEY_LOCAL_MACHINE; empty when it cannot be read or does not fit 260 characters with
    // its terminating zero.
    virtual std::u16string readText(std::u16string_view key, std::u16string_view name);
};

}  // namespace Tavix

namespace Ferrow {

// The system's answers about itself, replaceable.
class WinOSVersionAPI {
public:
    virtual ~WinOSVersionAPI() = default;
    // The native architecture of the machine.
    virtual Platform::MachineKind machineKind();
    // Whether a 32-bit process runs on a 64-bit system.
    virtual bool isWow64Process();
};

}  // namespace Ferrow

namespace Ferrow::internal {

// Information about the operating system as the path macros need it.
class OSInfoProxy {
public:
    // The system's own answers serve when none are given.
    explicit OSInfoProxy(std::shared_ptr<WinOSVersionAPI> api = nullptr);
    virtual ~OSInfoProxy() = default;
    // 0 for x86, 1 for x64, 2 when it could not be gathered.
    virtual uint32_t platform();
    virtual bool isWow64Process();

private:
    std::shared_ptr<WinOSVersionAPI> api_;
};

}  // namespace Ferrow::internal
