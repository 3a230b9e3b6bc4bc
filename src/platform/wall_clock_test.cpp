#include "platform/wall_clock.h"

#include <gtest/gtest.h>

#include <ctime>

namespace platform {
namespace {

TEST(WallClockTest, TheSystemClockCountsSecondsSinceTheUnixEpoch) {
    const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr));
    const std::int64_t now = SystemWallClock().NowSeconds();
    const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

} // namespace
} // namespace platform
