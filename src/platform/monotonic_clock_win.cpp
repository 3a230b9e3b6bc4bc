#include "platform/monotonic_clock.h"

#include "platform/win/windows_include.h"

#include <mmsystem.h>

namespace platform {

std::uint32_t MonotonicMs32() noexcept {
    return timeGetTime();
}

} // namespace platform
