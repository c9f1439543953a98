// The platform's loader, replaceable call by call.
#pragma once

#include <cstdint>
#include <string>

#include "platform/DynamicLibrary.h"

namespace Tavix {

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

}  // namespace Tavix
