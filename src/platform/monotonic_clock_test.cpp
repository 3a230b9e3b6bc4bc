#include "platform/monotonic_clock.h"
#include "platform/thread_id.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

namespace platform {
namespace {

TEST(MonotonicClockTest, NeverRunsBackwards) {
    std::uint32_t previous = MonotonicMs32();
    for (int i = 0; i < 1000; ++i) {
        std::uint32_t now = MonotonicMs32();
        // Unsigned difference: right across a wrap, and huge if the clock went back.
        EXPECT_LT(now - previous, 60000u);
        previous = now;
    }
}

TEST(ThreadIdTest, DiffersBetweenThreadsAndIsNeverZero) {
    std::uint32_t mine = CurrentThreadId();
    std::uint32_t other = 0;
    std::thread([&] { other = CurrentThreadId(); }).join();
    EXPECT_NE(mine, 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(mine, other);
    EXPECT_EQ(mine, CurrentThreadId());
}

} // namespace
} // namespace platform
