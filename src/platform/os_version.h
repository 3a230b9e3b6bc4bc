// The operating system's version as major, minor and build numbers.
//
// Windows: RtlGetVersion from ntdll.dll, resolved at run time, which reports the real version
// whatever the program's manifest says (Wine reports the version its prefix is set to). POSIX:
// the kernel's release from uname, parsed by ParseKernelRelease; "build" is then the kernel's
// patch level. Thread-safe; no allocation beyond the result.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

struct OsVersion {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;

    friend bool operator==(const OsVersion&, const OsVersion&) = default;
};

// std::nullopt when the system cannot tell (no RtlGetVersion, a failed call, an unreadable
// release).
[[nodiscard]] std::optional<OsVersion> GetOsVersion();

// "6.1.0-18-amd64" -> 6.1.0: the leading "major.minor[.patch]" numbers of a kernel release, each
// ending at a character other than a digit; a missing patch is 0. std::nullopt when the text does
// not start with "<number>.<number>" or a number does not fit in 32 bits.
[[nodiscard]] std::optional<OsVersion> ParseKernelRelease(std::string_view release);

} // namespace platform
