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

// Whether to look at the file also when nothing has been told of a change.
enum class Look { whenTold, always };

// The tree that the file describes now, read again only when the file has changed. While the file is there
// and cannot be read, what it said before counts. Any thread.
std::shared_ptr<const RegistryNode> currentRegistry(Look look = Look::whenTold);

}  // namespace Platform
