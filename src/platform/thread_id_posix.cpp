#include "platform/thread_id.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

std::uint32_t CurrentThreadId() noexcept {
    // gettid is a real system call; locks ask for the id on every acquisition, so each thread
    // asks once. (A child of fork inherits the forking thread's value; it may only exec anyway.)
    static thread_local std::uint32_t cached = 0;
    if (cached == 0) {
        cached = static_cast<std::uint32_t>(syscall(SYS_gettid));
    }
    return cached;
}

} // namespace platform
