// The layout of one line of the dev kit's log file.
//
// A line reads "2026-11-22 20:26:08.123Z 4711 INFO  ....NexiloAgent::Init: text\n": the UTC time
// to the millisecond, the system's thread id, the level's name padded to five characters
// (levels without a name appear as "L<n>"), two dots per depth step, the function name, a colon
// and the message. Texts are UTF-8. Pure functions, thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace devkit::tracelog {

struct LineFields {
    std::int64_t unixMs = 0; // milliseconds since 1970-01-01 UTC
    std::uint32_t threadId = 0;
    std::uint32_t level = 0;
    std::int32_t depth = 0;
    std::string_view function; // UTF-8
    std::string_view message;  // UTF-8
};

std::string FormatLine(const LineFields& fields);

// "ERROR", "WARN", "INFO", "TRACE", or "L<n>".
std::string LevelName(std::uint32_t level);

// Parses a level as a number or a name (error, warning, info, trace, off; any case). False when
// the text is neither.
bool ParseLevel(std::string_view text, std::uint32_t& level);

} // namespace devkit::tracelog
