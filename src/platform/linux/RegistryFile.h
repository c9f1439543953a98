// The file that stands for the registry on this system.
#pragma once

#include <memory>
#include <string>
#include <sys/stat.h>

#include "platform/RegistryText.h"

namespace Platform {

// What tells one state of a file from another without reading it.
struct FileState {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    int64_t modified = 0;  // nanoseconds since 1970
    int64_t changed = 0;

    bool operator==(const FileState&) const = default;
};

// Of no file: the default state.
FileState fileState(const std::string& nativePath) noexcept;

// Path of the registry file in the present platform folder, in the system's form.
std::string registryFilePath();

// The tree that the file describes now, read again only when the file has changed. Any thread.
std::shared_ptr<const RegistryNode> currentRegistry();

}  // namespace Platform
