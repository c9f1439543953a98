#include "platform/FileAccess.h"

#include "platform/Files.h"

namespace Platform {
namespace {

class SystemFileAccess final : public FileAccessReader {
public:
    std::optional<FileAccess> read(const std::u16string& path) const override {
        return fileExists(path) ? std::optional<FileAccess>(FileAccess()) : std::nullopt;
    }
};

constinit const SystemFileAccess systemFileAccess;

}  // namespace

const FileAccessReader& FileAccessReader::system() noexcept {
    return systemFileAccess;
}

}  // namespace Platform
