#include "platform/monotonic_clock.h"

#include <time.h>

namespace platform {

std::uint32_t MonotonicMs32() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    auto ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
              static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<std::uint32_t>(ms);
}

} // namespace platform
