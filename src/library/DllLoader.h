// Loads, resolves and frees one library file.
#pragma once

#include <memory>
#include <string>

#include "library/SystemInterfaces.h"

namespace Tavix {

class DllLoader {
public:
    // The platform's loader serves when none is given.
    explicit DllLoader(std::shared_ptr<DllAPI> api = nullptr);
    virtual ~DllLoader() = default;

    // Takes a reference to a library that the process has loaded already, or loads it. *handle is set on
    // success only; each success is to be freed once.
    virtual bool loadDLL(const std::u16string& path, Platform::LibraryHandle* handle);
    // Null when the library has no such function.
    virtual void* getProcAddress(Platform::LibraryHandle handle, const char* function);
    virtual bool freeDLL(Platform::LibraryHandle handle);

private:
    std::shared_ptr<DllAPI> api_;
};

}  // namespace Tavix
