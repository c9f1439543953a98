// A library beside the program, loaded through its exported functions.
#pragma once

#include <string>

#include "platform/DynamicLibrary.h"

namespace Host {

// Full path of a file in the program's folder.
std::u16string besideProgram(const std::u16string& fileName);

class LibraryFile {
public:
    // Throws HostError that says what is wrong with the file.
    explicit LibraryFile(const std::u16string& path);
    ~LibraryFile() { Platform::freeLibrary(library_); }
    LibraryFile(const LibraryFile&) = delete;
    LibraryFile& operator=(const LibraryFile&) = delete;

    // Throws HostError when the library does not export the name.
    template <class Function>
    Function function(const char* name) const {
        return reinterpret_cast<Function>(address(name));
    }

private:
    void* address(const char* name) const;

    std::u16string path_;
    Platform::LibraryHandle library_;
};

}  // namespace Host
