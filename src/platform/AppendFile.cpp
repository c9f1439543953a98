#include "platform/AppendFile.h"

namespace Platform {

std::optional<uint64_t> AppendFile::size() {
    const std::optional<FileStatus> status = path_.empty() ? std::nullopt : statusOf(path_);
    if (!status || status->identity != identity_)
        file_ = NativeFile();
    return status ? std::optional(status->size) : std::nullopt;
}

bool AppendFile::append(std::string_view text, bool emptyFirst) {
    if (path_.empty())
        return false;
    if (emptyFirst || !file_) {
        file_ = openFile(path_, emptyFirst ? FileUse::overwrite : FileUse::append);
        identity_ = file_ ? identityOf(file_) : std::nullopt;
    }
    const bool written = file_ && writeAll(file_, text);
    if (!written || !identity_)
        file_ = NativeFile();
    return written;
}

}  // namespace Platform
