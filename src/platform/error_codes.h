// The one table of Windows error numbers that the code returns, on every system.
//
// Callers log these numbers and some logic compares them, so the POSIX side maps errno onto the
// nearest of them (MapErrno) instead of leaking errno values. Code names a number through its
// constant here, never as a bare literal or a private copy; a number the code starts to return
// joins this table (and, for POSIX, error_text_posix.cpp).
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
inline constexpr ErrorCode kErrorInvalidData = 13;
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
inline constexpr ErrorCode kErrorBadPathname = 161;
inline constexpr ErrorCode kErrorAlreadyExists = 183;
inline constexpr ErrorCode kErrorFilenameExcedRange = 206;
inline constexpr ErrorCode kErrorMoreData = 234;
inline constexpr ErrorCode kErrorNoMoreItems = 259;
inline constexpr ErrorCode kErrorDirectory = 267;
// What the binding of another module's object reports when the system gave no number of its own.
inline constexpr ErrorCode kErrorObjectNotLoaded = 632;
inline constexpr ErrorCode kErrorNoAccess = 998;
inline constexpr ErrorCode kErrorRegistryCorrupt = 1015;
inline constexpr ErrorCode kErrorKeyDeleted = 1018;
inline constexpr ErrorCode kErrorPossibleDeadlock = 1131;
inline constexpr ErrorCode kErrorNotFound = 1168;
inline constexpr ErrorCode kErrorConnectionRefused = 1225;
inline constexpr ErrorCode kErrorNoSuchLogonSession = 1312;
inline constexpr ErrorCode kErrorPrivilegeNotHeld = 1314;
inline constexpr ErrorCode kErrorTimeout = 1460;
inline constexpr ErrorCode kErrorFunctionFailed = 1627;
inline constexpr ErrorCode kErrorUnsupportedType = 1630;
// -1: a failure that has no Windows number to give, as Init and Ask report it.
inline constexpr ErrorCode kFailureWithoutCode = 0xFFFFFFFF;

// The nearest Windows number for a C runtime errno value; kErrorGenFailure when none is near.
ErrorCode MapErrno(int err) noexcept;

} // namespace platform
