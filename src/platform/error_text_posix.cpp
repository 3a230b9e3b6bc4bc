#include "platform/error_text.h"

#include "platform/error_codes.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

struct ErrorText {
    ErrorCode code;
    const char* text;
};

// Sorted by number. Only numbers this code base produces or passes on; anything else has no text.
constexpr ErrorText kTexts[] = {
    {kErrorSuccess, "The operation completed successfully."},
    {kErrorFileNotFound, "The file was not found."},
    {kErrorPathNotFound, "The path was not found."},
    {kErrorAccessDenied, "Access is denied."},
    {kErrorInvalidHandle, "The handle is not valid."},
    {kErrorNotEnoughMemory, "Not enough memory to complete the operation."},
    {kErrorInvalidData, "The data is not valid."},
    {kErrorGenFailure, "The operation failed."},
    {kErrorSharingViolation, "The file is in use by another process."},
    {kErrorNotSupported, "The request is not supported."},
    {kErrorFileExists, "The file exists."},
    {kErrorInvalidParameter, "A parameter is not valid."},
    {kErrorBrokenPipe, "The pipe has been ended."},
    {kErrorCallNotImplemented, "The function is not available on this system."},
    {kErrorInsufficientBuffer, "The data area passed is too small."},
    {kErrorModNotFound, "The module was not found."},
    {kErrorProcNotFound, "The procedure was not found."},
    {kErrorDirNotEmpty, "The directory is not empty."},
    {kErrorBadPathname, "The path is not valid."},
    {kErrorAlreadyExists, "The file or object already exists."},
    {kErrorFilenameExcedRange, "The file name or extension is too long."},
    {kErrorMoreData, "More data is available."},
    {kErrorNoMoreItems, "No more data is available."},
    {kErrorDirectory, "The directory name is not valid."},
    {kErrorObjectNotLoaded, "The object could not be loaded."},
    {kErrorNoAccess, "Invalid access to a memory location."},
    {kErrorRegistryCorrupt, "The registry store is corrupt."},
    {kErrorKeyDeleted, "The registry key has been deleted."},
    {kErrorPossibleDeadlock, "A potential deadlock condition has been detected."},
    {kErrorNotFound, "Element not found."},
    {kErrorConnectionRefused, "The remote computer refused the network connection."},
    {kErrorNoSuchLogonSession, "The logon session does not exist."},
    {kErrorPrivilegeNotHeld, "A required privilege is not held by the client."},
    {kErrorTimeout, "The operation timed out."},
    {kErrorFunctionFailed, "The function failed during execution."},
    {kErrorUnsupportedType, "The data type is not supported."},
};

static_assert(std::is_sorted(std::begin(kTexts), std::end(kTexts),
                             [](const ErrorText& a, const ErrorText& b) {
                                 return a.code < b.code;
                             }));

// HRESULT_FROM_WIN32 wraps a Win32 number as 0x8007xxxx.
constexpr std::uint32_t kWin32FacilityMask = 0xFFFF0000u;
constexpr std::uint32_t kWin32Facility = 0x80070000u;

} // namespace

std::optional<std::string> SystemErrorText(std::int32_t code) {
    auto number = static_cast<std::uint32_t>(code);
    if ((number & kWin32FacilityMask) == kWin32Facility) {
        number &= ~kWin32FacilityMask;
    }
    auto found = std::lower_bound(
        std::begin(kTexts), std::end(kTexts), number,
        [](const ErrorText& entry, std::uint32_t value) { return entry.code < value; });
    if (found == std::end(kTexts) || found->code != number) {
        return std::nullopt;
    }
    return std::string(found->text);
}

} // namespace platform
