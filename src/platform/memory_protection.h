// In-place sealing of small secrets held in memory, with a key that never leaves the process.
//
// ProtectMemory encrypts `size` bytes at `data` in place; UnprotectMemory reverses it. `size` must
// be a whole multiple of kProtectBlockSize; the size never changes. Sealing is deterministic
// within a process and does not depend on the buffer's address, so sealed bytes may be copied
// elsewhere and unsealed there. Only kProtectSameProcess is supported: what one process seals,
// no other process can unseal.
//
// Windows: CryptProtectMemory / CryptUnprotectMemory. POSIX: AES-256 in XTS mode through libcrypto
// with a random per-process key that lives in locked memory excluded from core dumps.
// Thread-safe. Results are Windows error numbers: 0, kErrorInvalidParameter for a bad size,
// kErrorNotSupported for other flags, or the platform's failure.
#pragma once

#include "platform/error_codes.h"

#include <cstddef>
#include <cstdint>

namespace platform {

inline constexpr std::size_t kProtectBlockSize = 16;
inline constexpr std::uint32_t kProtectSameProcess = 0;

[[nodiscard]] ErrorCode ProtectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept;
[[nodiscard]] ErrorCode UnprotectMemory(void* data, std::size_t size, std::uint32_t flags) noexcept;

} // namespace platform
