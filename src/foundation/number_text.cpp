#include "foundation/number_text.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace cv {
namespace {

bool IsSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsDigit(char c, bool hex) noexcept {
    if (c >= '0' && c <= '9') {
        return true;
    }
    return hex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'));
}

bool HasHexPrefix(std::string_view text) noexcept {
    return text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

// Skips leading blanks and a sign, as the C parsers do; tells whether the sign was a minus.
std::string_view StripSign(std::string_view text, bool& negative) noexcept {
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    return text;
}

// from_chars leaves the value alone when it is out of range, where strtod gives an infinity for
// an overflow and zero for an underflow. The place of the first significant digit plus the
// exponent tells the two apart; `hex` counts digits as four bits and a binary exponent.
bool Overflows(std::string_view number, bool hex) noexcept {
    std::int64_t place = 0;
    bool significant = false;
    bool fraction = false;
    std::size_t i = 0;
    for (; i < number.size(); ++i) {
        char c = number[i];
        if (c == '.') {
            fraction = true;
            continue;
        }
        if (!IsDigit(c, hex)) {
            break;
        }
        if (!significant && c != '0') {
            significant = true;
        }
        if (!fraction && significant) {
            ++place;
        } else if (fraction && !significant) {
            --place;
        }
    }
    std::int64_t exponent = 0;
    if (i < number.size()) {
        ++i; // 'e' or 'p'
        bool negative = false;
        if (i < number.size() && (number[i] == '+' || number[i] == '-')) {
            negative = number[i] == '-';
            ++i;
        }
        for (; i < number.size() && IsDigit(number[i], false); ++i) {
            if (exponent < 1'000'000'000) {
                exponent = exponent * 10 + (number[i] - '0');
            }
        }
        exponent = negative ? -exponent : exponent;
    }
    return place * (hex ? 4 : 1) + exponent > 0;
}

} // namespace

std::optional<std::int32_t> ParseWholeInt32(std::string_view text) noexcept {
    bool negative = false;
    std::string_view digits = StripSign(text, negative);
    int base = 10;
    if (HasHexPrefix(digits) && digits.size() > 2 && IsDigit(digits[2], true)) {
        base = 16;
        digits.remove_prefix(2);
    } else if (!digits.empty() && digits.front() == '0') {
        base = 8;
    }
    if (digits.empty() || !IsDigit(digits.front(), base == 16)) {
        return std::nullopt;
    }
    std::uint64_t magnitude = 0;
    auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
    if (end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    constexpr std::uint64_t kMax = std::numeric_limits<std::int32_t>::max();
    const bool overflow = error == std::errc::result_out_of_range;
    if (negative) {
        if (overflow || magnitude > kMax + 1) {
            return std::numeric_limits<std::int32_t>::min();
        }
        return static_cast<std::int32_t>(-static_cast<std::int64_t>(magnitude));
    }
    if (overflow || magnitude > kMax) {
        return std::numeric_limits<std::int32_t>::max();
    }
    return static_cast<std::int32_t>(magnitude);
}

std::optional<double> ParseWholeDouble(std::string_view text) noexcept {
    bool negative = false;
    std::string_view number = StripSign(text, negative);
    auto format = std::chars_format::general;
    if (HasHexPrefix(number)) {
        number.remove_prefix(2);
        format = std::chars_format::hex;
        // from_chars would also take a sign, inf or nan here; strtod stops after the "0".
        if (number.empty() || !(IsDigit(number.front(), true) || number.front() == '.')) {
            return std::nullopt;
        }
    } else if (number.empty() || number.front() == '+' || number.front() == '-') {
        return std::nullopt;
    }
    double value = 0;
    auto [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), value, format);
    if (end != number.data() + number.size()) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        value = Overflows(number, format == std::chars_format::hex)
                    ? std::numeric_limits<double>::infinity()
                    : 0.0;
    } else if (error != std::errc()) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::string FormatFixed(double value, int decimals) {
    // Room for the largest double in fixed notation: 309 digits, sign, point and decimals.
    char buffer[352 + std::numeric_limits<double>::max_digits10];
    if (decimals < 0 || decimals > std::numeric_limits<double>::max_digits10) {
        decimals = 6;
    }
    auto [end, error] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (error != std::errc()) {
        return {};
    }
    return std::string(buffer, end);
}

} // namespace cv
