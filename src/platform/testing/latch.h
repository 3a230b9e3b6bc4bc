// A single-use latch for threaded tests, on a mutex and a condition variable.
//
// mingw-w64: libstdc++ 12's std::latch and std::atomic<T>::wait park their waiters in pools shared
// by address hash, where a notification can be lost under Wine and the test hangs. Tests use this
// latch instead. Thread-safe; Wait returns once the count has reached zero.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace platform_testing {

class Latch {
public:
    explicit Latch(std::ptrdiff_t count) : m_count(count) {}
    Latch(const Latch&) = delete;
    Latch& operator=(const Latch&) = delete;

    void CountDown() {
        std::lock_guard lock(m_mutex);
        if (m_count > 0 && --m_count == 0) {
            m_reached.notify_all();
        }
    }
    void Wait() {
        std::unique_lock lock(m_mutex);
        m_reached.wait(lock, [this] { return m_count == 0; });
    }
    void ArriveAndWait() {
        CountDown();
        Wait();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_reached;
    std::ptrdiff_t m_count;
};

} // namespace platform_testing
