// What the build has put beside the test program.
#pragma once

#include <string>
#include <string_view>

#include "platform/DynamicLibrary.h"
#include "platform/Process.h"

inline std::u16string beside(std::u16string_view file) {
    const std::u16string path = Platform::executablePath();
    return path.substr(0, path.rfind(u'\\') + 1) + std::u16string(file);
}

namespace Support {

// A library that is loaded for as long as the object lives; null in a condition when it cannot be.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const std::u16string& path) : handle_(Platform::loadLibrary(path)) {}
    ~LoadedLibrary() {
        if (handle_)
            Platform::freeLibrary(handle_);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;
    explicit operator bool() const { return handle_ != nullptr; }
    template <class Function>
    Function function(const char* name) const {
        return reinterpret_cast<Function>(Platform::libraryFunction(handle_, name));
    }

private:
    Platform::LibraryHandle handle_;
};

}  // namespace Support
