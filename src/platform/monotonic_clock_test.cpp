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
        EXPECT_LT(now - previous, 60000u); // unsigned: right across a wrap, huge if it went back
        previous = now;
    }
}

TEST(ThreadIdTest, DiffersBetweenThreadsAndIsNeverZero) {
    std::uint32_t other = 0;
    std::thread([&] { other = CurrentThreadId(); }).join();
    EXPECT_NE(CurrentThreadId(), 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(CurrentThreadId(), other);
}

} // namespace
} // namespace platform
