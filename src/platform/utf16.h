// UTF-16LE code units in byte buffers: the form of registry strings on every system.
//
// A unit is two bytes, low byte first. Surrogates are code units like any other here: these
// helpers pair them where a caller asks and never reject a lone one, because registry data may
// hold any sequence of units. Pure functions; thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

inline constexpr std::uint32_t kReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(std::uint32_t unit) noexcept {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(std::uint32_t unit) noexcept {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
// The code point of a high and a low surrogate.
constexpr std::uint32_t CombineSurrogates(std::uint32_t high, std::uint32_t low) noexcept {
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// The unit at `index` of the little-endian units at `data`.
inline std::uint32_t Utf16UnitAt(const void* data, std::size_t index) noexcept {
    const auto* bytes = static_cast<const unsigned char*>(data);
    return static_cast<std::uint32_t>(bytes[2 * index]) |
           (static_cast<std::uint32_t>(bytes[2 * index + 1]) << 8);
}

// Appends one unit, low byte first.
void AppendUtf16Unit(std::vector<std::byte>& out, std::uint32_t unit);

// Appends a code point as one unit or a surrogate pair; above U+10FFFF, U+FFFD. A surrogate code
// point is written as the lone unit it is.
void AppendUtf16CodePoint(std::vector<std::byte>& out, std::uint32_t point);

} // namespace platform
