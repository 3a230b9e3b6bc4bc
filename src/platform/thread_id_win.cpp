#include "platform/thread_id.h"

#include "platform/win/windows_include.h"

namespace platform {

std::uint32_t CurrentThreadId() noexcept {
    return GetCurrentThreadId();
}

} // namespace platform
