// The calendar time: whole seconds since 1970-01-01 00:00:00 UTC, as _time64 gives it.
//
// WallClock is the capability the agent is handed, so that tests can set the time
// (platform/testing/fake_wall_clock.h); SystemWallClock() reads the system's. The value may jump
// when someone sets the system clock: use MonotonicMs32 (monotonic_clock.h) to measure spans.
// Thread-safe, never blocks.
#pragma once

#include <cstdint>

namespace platform {

class WallClock {
public:
    virtual ~WallClock() = default;

    [[nodiscard]] virtual std::int64_t NowSeconds() const noexcept = 0;
};

// The system's clock; lives as long as the process.
WallClock& SystemWallClock() noexcept;

} // namespace platform
