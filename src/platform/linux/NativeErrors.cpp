#include "platform/linux/NativeErrors.h"

#include <cerrno>

#include "platform/Process.h"

namespace Platform {

void setLastSystemError(int systemError) noexcept {
    switch (systemError) {
        case 0:
            return setLastError(0);
        case ENOENT:
            return setLastError(errorFileNotFound);
        case ENOTDIR:
            return setLastError(errorPathNotFound);
        case EMFILE:
        case ENFILE:
            return setLastError(4);  // too many open files
        case EACCES:
        case EPERM:
        case EROFS:
            return setLastError(errorAccessDenied);
        case ENOMEM:
            return setLastError(14);  // out of memory
        case EEXIST:
            return setLastError(183);  // already exists
        case ENOSPC:
        case EDQUOT:
            return setLastError(112);  // disk full
        case EINVAL:
            return setLastError(errorInvalidParameter);
        case ENAMETOOLONG:
            return setLastError(206);  // file name too long
        default:
            return setLastError(errorGeneralFailure);
    }
}

}  // namespace Platform
