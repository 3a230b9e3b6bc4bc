// Tells whether this Windows program runs under Wine, for the few checks Wine cannot honour.
//
// Only tests and workarounds marked "Wine:" may ask. Always false on POSIX builds. Thread-safe.
#pragma once

namespace platform {

[[nodiscard]] bool RunningUnderWine() noexcept;

} // namespace platform
