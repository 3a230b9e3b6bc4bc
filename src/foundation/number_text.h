// Numbers to and from text the way the C library reads and writes them, without its locale.
//
// The C functions follow the process locale, so a host that sets a decimal comma would break the
// document files. These give the "C" locale's results on every system and thread:
// - ParseWholeInt32: the text read as strtol with base 0 would read it (leading blanks, a sign,
//   then decimal, octal after a leading 0, hexadecimal after 0x), only when that takes the whole
//   text; a value beyond the 32-bit range is clamped to its limit, also on LP64 systems.
// - ParseWholeDouble: the text read as strtod would read it (decimal and hexadecimal forms, inf,
//   infinity, nan, nan(...)), only when that takes the whole text; an overflow gives an infinity
//   and an underflow zero, as strtod does.
// - FormatFixed: printf's "%.Nf" (so "%lf" for six decimals): fixed notation, nan and inf as
//   "nan", "-nan", "inf", "-inf".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cv {

[[nodiscard]] std::optional<std::int32_t> ParseWholeInt32(std::string_view text) noexcept;
[[nodiscard]] std::optional<double> ParseWholeDouble(std::string_view text) noexcept;
[[nodiscard]] std::string FormatFixed(double value, int decimals = 6);

} // namespace cv
