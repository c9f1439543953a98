#include "platform/FileAccess.h"

#include "AccessList.h"
#include "Wide.h"

namespace Platform {
namespace {

class SystemFileAccess final : public FileAccessReader {
public:
    std::optional<FileAccess> read(const std::u16string& path) const override {
        const std::u16string native = systemPath(path);
        const DWORD attributes = native.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(wide(native));
        if (attributes == INVALID_FILE_ATTRIBUTES) {
            const DWORD error = GetLastError();
            if (native.empty() || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
                return std::nullopt;
        }
        const std::optional<FileSecurity> security = FileSecurity::of(native);
        const bool isLink =
            attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        return FileAccess{isLink, security && security->isOwnedByWhoDecides(),
                          !security || security->letsEverybodyAdd()};
    }
};

constinit const SystemFileAccess systemFileAccess;

}  // namespace

const FileAccessReader& FileAccessReader::system() noexcept {
    return systemFileAccess;
}

}  // namespace Platform
