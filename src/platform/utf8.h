// Conversion between the system's wide text and UTF-8, with the contract of the Windows calls.
//
// Contract: both functions convert a zero-terminated text up to and including its first zero, as
// WideCharToMultiByte / MultiByteToWideChar with code page 65001, flags 0 and length -1 do. With a
// null `out` or an `outSize` of 0 they measure; otherwise they write at most `outSize` units. The
// result counts the units including the zero; 0 means failure (also a too small `out`). Bad
// sequences become U+FFFD, never a failure. The wide text is UTF-16 on Windows and UTF-32 on Linux
// (a UTF-32 unit that is a surrogate or above U+10FFFF is a bad sequence). The process locale
// plays no part. Thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

[[nodiscard]] std::size_t WideToUtf8(const wchar_t* text, char* out, std::size_t outSize) noexcept;
[[nodiscard]] std::size_t Utf8ToWide(const char* text, wchar_t* out, std::size_t outSize) noexcept;

// Writes the UTF-8 form of one code point (up to U+10FFFF) to `out` and returns its length, 1 to
// 4. A surrogate code point is encoded like any other (the generalized form); the conversions
// above replace it, callers that must keep lone surrogates use this.
std::size_t EncodeUtf8(std::uint32_t point, char (&out)[4]) noexcept;

// Whole-text helpers over the two above; the texts end at their first zero. Empty on failure.
std::string WideToUtf8(std::wstring_view text);
std::wstring Utf8ToWide(std::string_view text);

} // namespace platform
