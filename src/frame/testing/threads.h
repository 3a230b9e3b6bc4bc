// Waiting, in the frame's threaded tests, for a state that other threads reach. For tests only.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace frame_testing {

// Spins until `condition` holds; false only after 30 s, in a broken build. For states that no
// event reports, such as a thread having started to wait for a lock.
inline bool WaitFor(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace frame_testing
