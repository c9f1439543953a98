// A file that is appended to again and again, and that others may replace, empty or remove meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/FileCalls.h"

namespace Platform {

// Stays open between the texts where the system tells whether the name still means the same file. Belongs to
// one thread at a time. What fails leaves its reason in lastError().
class AppendFile {
public:
    AppendFile() = default;
    explicit AppendFile(const std::u16string& path) : path_(checkedPath(path)) {}

    // Of the file that bears the name now; nothing when there is none.
    std::optional<uint64_t> size();
    // To the file that size() was asked of, which is created when missing; emptyFirst empties it.
    bool append(std::string_view text, bool emptyFirst);

private:
    NativePath path_;
    NativeFile file_;
    std::optional<FileIdentity> identity_;  // of the open file
};

}  // namespace Platform
