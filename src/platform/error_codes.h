// Windows error numbers that the seam reports on every system.
//
// Callers log these numbers and some logic compares them, so the POSIX side maps errno onto the
// nearest of them (see MapErrno) instead of leaking errno values.
#pragma once

#include <cstdint>

namespace platform {

using ErrorCode = std::uint32_t;

inline constexpr ErrorCode kErrorSuccess = 0;
inline constexpr ErrorCode kErrorFileNotFound = 2;
inline constexpr ErrorCode kErrorPathNotFound = 3;
inline constexpr ErrorCode kErrorAccessDenied = 5;
inline constexpr ErrorCode kErrorInvalidHandle = 6;
inline constexpr ErrorCode kErrorNotEnoughMemory = 8;
inline constexpr ErrorCode kErrorGenFailure = 31;
inline constexpr ErrorCode kErrorSharingViolation = 32;
inline constexpr ErrorCode kErrorNotSupported = 50;
inline constexpr ErrorCode kErrorFileExists = 80;
inline constexpr ErrorCode kErrorInvalidParameter = 87;
inline constexpr ErrorCode kErrorBrokenPipe = 109;
inline constexpr ErrorCode kErrorCallNotImplemented = 120;
inline constexpr ErrorCode kErrorInsufficientBuffer = 122;
inline constexpr ErrorCode kErrorModNotFound = 126;
inline constexpr ErrorCode kErrorProcNotFound = 127;
inline constexpr ErrorCode kErrorDirNotEmpty = 145;
inline constexpr ErrorCode kErrorAlreadyExists = 183;
inline constexpr ErrorCode kErrorFilenameExcedRange = 206;
inline constexpr ErrorCode kErrorMoreData = 234;
inline constexpr ErrorCode kErrorNoMoreItems = 259;
inline constexpr ErrorCode kErrorTimeout = 1460;
inline constexpr ErrorCode kErrorNotFound = 1168;
inline constexpr ErrorCode kErrorPrivilegeNotHeld = 1314;
inline constexpr ErrorCode kErrorFunctionFailed = 1627;

// The nearest Windows number for a C runtime errno value; kErrorGenFailure when none is near.
ErrorCode MapErrno(int err) noexcept;

} // namespace platform
