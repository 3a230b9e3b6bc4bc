// A WallClock whose time a test sets. Not synchronised: set it while nothing reads it.
#pragma once

#include "platform/wall_clock.h"

namespace platform_testing {

class FakeWallClock final : public platform::WallClock {
public:
    explicit FakeWallClock(std::int64_t now = 0) : now(now) {}

    std::int64_t NowSeconds() const noexcept override { return now; }

    std::int64_t now;
};

} // namespace platform_testing
