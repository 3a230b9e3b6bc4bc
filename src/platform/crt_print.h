// Formatted printing through the C runtime, with C-standard format strings, into caller buffers.
//
// Contract: format strings here follow the C standard as glibc and mingw-w64 read them (in a wide
// format %ls is wide and %hs narrow); callers holding Windows-convention formats translate them
// first. Narrow arguments of a wide format and wide arguments of a narrow format are UTF-8 on
// POSIX whatever the process locale (printing runs under a private UTF-8 character-type locale);
// on Windows the C runtime's own rules apply. Thread-safe; no locks.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform {

// Results of a print besides a length.
inline constexpr int kPrintTooSmall = -2; // the text does not fit; grow and print again
inline constexpr int kPrintFailed = -1;   // an argument cannot be converted, or the runtime failed

// The length of the formatted text without its terminator, or -1 when it cannot be measured
// (glibc's wide print cannot measure) or the text cannot be formed.
[[nodiscard]] int MeasureWide(const wchar_t* format, std::va_list args) noexcept;
[[nodiscard]] int MeasureNarrow(const char* format, std::va_list args) noexcept;

// Prints into `buffer` of `count` units (terminator included). Returns the length written, or
// kPrintTooSmall / kPrintFailed. The buffer is zero-terminated whenever `count` is not 0.
[[nodiscard]] int PrintWide(wchar_t* buffer, std::size_t count, const wchar_t* format,
                            std::va_list args) noexcept;
[[nodiscard]] int PrintNarrow(char* buffer, std::size_t count, const char* format,
                              std::va_list args) noexcept;

} // namespace platform
