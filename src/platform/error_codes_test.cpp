#include "platform/error_codes.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace platform {
namespace {

TEST(MapErrnoTest, EachErrnoGivesItsNearestWindowsNumber) {
    const struct {
        int err;
        ErrorCode expected;
    } cases[] = {
        {0, kErrorSuccess},
        {ENOENT, kErrorFileNotFound},
        // A path that runs through a regular file: the path is wrong, not the file missing.
        {ENOTDIR, kErrorPathNotFound},
        {EACCES, kErrorAccessDenied},
        {EPERM, kErrorAccessDenied},
        {EROFS, kErrorAccessDenied},
        {EISDIR, kErrorAccessDenied},
        {EBADF, kErrorInvalidHandle},
        {ENOMEM, kErrorNotEnoughMemory},
        {EBUSY, kErrorSharingViolation},
        {ETXTBSY, kErrorSharingViolation},
        {ENOSYS, kErrorNotSupported},
        {ENOTSUP, kErrorNotSupported},
        {EEXIST, kErrorAlreadyExists},
        {EINVAL, kErrorInvalidParameter},
        {EPIPE, kErrorBrokenPipe},
        {ENAMETOOLONG, kErrorFilenameExcedRange},
        {ENOTEMPTY, kErrorDirNotEmpty},
        {ETIMEDOUT, kErrorTimeout},
        {EIO, kErrorGenFailure},
        {-1, kErrorGenFailure},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MapErrno(c.err), c.expected) << "errno " << c.err;
    }
}

} // namespace
} // namespace platform
