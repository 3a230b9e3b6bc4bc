#include "platform/wall_clock.h"

#include <chrono>

namespace platform {

namespace {

class SystemClock final : public WallClock {
public:
    std::int64_t NowSeconds() const noexcept override {
        // The system clock counts from the Unix epoch on every system since C++20.
        return std::chrono::duration_cast<std::chrono::seconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }
};

} // namespace

WallClock& SystemWallClock() noexcept {
    static SystemClock clock;
    return clock;
}

} // namespace platform
