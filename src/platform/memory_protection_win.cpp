#include "platform/memory_protection.h"

#include "platform/win/windows_include.h"

#include <dpapi.h>

namespace platform {
namespace {

ErrorCode CheckArguments(std::size_t size, std::uint32_t flags) noexcept {
    // The system checks the size too, but Wine's implementation does not: checking here keeps
    // the contract the same everywhere.
    if (size % kProtectBlockSize != 0 || size > 0xFFFFFFFFu) {
        return kErrorInvalidParameter;
    }
    if (flags != kProtectSameProcess) {
        return kErrorNotSupported;
    }
    return kErrorSuccess;
}

ErrorCode LastErrorOrFailure() noexcept {
    DWORD error = ::GetLastError();
    return error != 0 ? error : kErrorGenFailure;
}

} // namespace

ErrorCode ProtectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept {
    if (ErrorCode error = CheckArguments(size, flags); error != kErrorSuccess || size == 0) {
        return error;
    }
    if (!::CryptProtectMemory(data, static_cast<DWORD>(size), CRYPTPROTECTMEMORY_SAME_PROCESS)) {
        return LastErrorOrFailure();
    }
    return kErrorSuccess;
}

ErrorCode UnprotectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept {
    if (ErrorCode error = CheckArguments(size, flags); error != kErrorSuccess || size == 0) {
        return error;
    }
    if (!::CryptUnprotectMemory(data, static_cast<DWORD>(size), CRYPTPROTECTMEMORY_SAME_PROCESS)) {
        return LastErrorOrFailure();
    }
    return kErrorSuccess;
}

} // namespace platform
