// A millisecond count of a monotonic clock, cut to 32 bits, as timeGetTime gives it.
//
// The count wraps about every 49.7 days: take differences in unsigned 32-bit arithmetic
// (later - earlier), which stays right across one wrap. Its origin is unspecified (Windows: the
// system's start; POSIX: CLOCK_MONOTONIC's). Thread-safe, never blocks.
#pragma once

#include <cstdint>

namespace platform {

std::uint32_t MonotonicMs32() noexcept;

} // namespace platform
