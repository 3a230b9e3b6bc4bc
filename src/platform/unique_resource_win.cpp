#include "platform/unique_resource.h"

#include "platform/win/windows_include.h"

#include <cerrno>

namespace platform {

LastErrorKeeper::LastErrorKeeper() noexcept : m_errno(errno), m_lastError(::GetLastError()) {}

LastErrorKeeper::~LastErrorKeeper() {
    errno = m_errno;
    ::SetLastError(m_lastError);
}

void HandleTraits::Close(void* handle) noexcept {
    ::CloseHandle(handle);
}

} // namespace platform
