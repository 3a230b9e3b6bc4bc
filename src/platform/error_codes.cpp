#include "platform/error_codes.h"

#include <cerrno>

namespace platform {

ErrorCode MapErrno(int err) noexcept {
    switch (err) {
        case 0:
            return kErrorSuccess;
        case ENOENT:
            return kErrorFileNotFound;
        case ENOTDIR:
            return kErrorPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
            return kErrorAccessDenied;
        case EBADF:
            return kErrorInvalidHandle;
        case ENOMEM:
            return kErrorNotEnoughMemory;
        case EBUSY:
        case ETXTBSY:
            return kErrorSharingViolation;
        case ENOSYS:
        case ENOTSUP:
            return kErrorNotSupported;
        case EEXIST:
            return kErrorAlreadyExists;
        case EINVAL:
            return kErrorInvalidParameter;
        case EPIPE:
            return kErrorBrokenPipe;
        case ENAMETOOLONG:
            return kErrorFilenameExcedRange;
        case ENOTEMPTY:
            return kErrorDirNotEmpty;
        case ETIMEDOUT:
            return kErrorTimeout;
        default:
            return kErrorGenFailure;
    }
}

} // namespace platform
