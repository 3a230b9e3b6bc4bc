#include "devkit/tracelog/line_format.h"

#include <cctype>
#include <charconv>
#include <cstdio>

namespace devkit::tracelog {
namespace {

struct CivilDate {
    std::int64_t year;
    unsigned month;
    unsigned day;
};

// Days since 1970-01-01 to a proleptic Gregorian date (H. Hinnant's civil_from_days).
CivilDate FromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
    const unsigned day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    const unsigned month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    const std::int64_t year = static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2);
    return {year, month, day};
}

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

} // namespace

std::string LevelName(std::uint32_t level) {
    switch (level) {
        case 4:
            return "ERROR";
        case 8:
            return "WARN";
        case 16:
            return "INFO";
        case 32:
            return "TRACE";
        default:
            return "L" + std::to_string(level);
    }
}

bool ParseLevel(std::string_view text, std::uint32_t& level) {
    std::string lower;
    for (char c : text) {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    if (lower.empty()) {
        return false;
    }
    static constexpr struct {
        const char* name;
        std::uint32_t level;
    } kNames[] = {{"off", 0},  {"error", 4}, {"warning", 8},
                  {"warn", 8}, {"info", 16}, {"trace", 32}};
    for (const auto& entry : kNames) {
        if (lower == entry.name) {
            level = entry.level;
            return true;
        }
    }
    std::uint32_t value = 0;
    auto [end, error] = std::from_chars(lower.data(), lower.data() + lower.size(), value);
    if (error != std::errc() || end != lower.data() + lower.size()) {
        return false;
    }
    level = value;
    return true;
}

std::string FormatLine(const LineFields& fields) {
    const std::int64_t days = FloorDiv(fields.unixMs, 86400000);
    const std::int64_t msOfDay = fields.unixMs - days * 86400000;
    const CivilDate date = FromDays(days);
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%04lld-%02u-%02u %02d:%02d:%02d.%03dZ %u %-5s ",
                  static_cast<long long>(date.year), date.month, date.day,
                  static_cast<int>(msOfDay / 3600000), static_cast<int>(msOfDay / 60000 % 60),
                  static_cast<int>(msOfDay / 1000 % 60), static_cast<int>(msOfDay % 1000),
                  fields.threadId, LevelName(fields.level).c_str());
    std::string line = stamp;
    if (fields.depth > 0) {
        line.append(static_cast<std::size_t>(fields.depth) * 2, '.');
    }
    line += fields.function;
    line += ": ";
    line += fields.message;
    line += '\n';
    return line;
}

} // namespace devkit::tracelog
