// The system's id of the calling thread: GetCurrentThreadId on Windows, gettid on Linux.
//
// Cheap enough for every lock acquisition. Never 0, so 0 is free to mean "no thread" or "the
// calling thread" in the code above. Ids are unique among the threads alive at one time and may be
// reused after a thread has ended.
#pragma once

#include <cstdint>

namespace platform {

std::uint32_t CurrentThreadId() noexcept;

} // namespace platform
