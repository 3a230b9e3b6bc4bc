// In-place edits of the last element of a path held in a caller's buffer.
//
// Contract: the Windows calls PathRemoveFileSpecW and PathAddBackslashW on Windows; on POSIX the
// same rules with '/' as the separator. The buffer must hold a zero-terminated path. Thread-safe.
#pragma once

#include <cstddef>

namespace platform {

// The system's path separator.
#if defined(_WIN32)
inline constexpr wchar_t kPathSeparator = L'\\';
#else
inline constexpr wchar_t kPathSeparator = L'/';
#endif

// Cuts the last element and the separator in front of it, keeping a root separator. True when
// something was cut.
bool RemoveFileSpec(wchar_t* path) noexcept;

// Adds a separator to a non-empty path that does not end in one. `size` is the room of `path` in
// characters, terminator included. Returns the address of the terminator, or null when the
// separator does not fit. Unlike PathAddBackslashW, paths past MAX_PATH are served too.
wchar_t* AddBackslash(wchar_t* path, std::size_t size) noexcept;

} // namespace platform
