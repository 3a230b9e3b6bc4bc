#include "foundation/number_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace cv {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::nullopt_t kNone = std::nullopt;

// Every text goes through both readers, which take what strtol (base 0) and strtod take whole.
TEST(NumberTextTest, ReadersTakeWhatStrtolAndStrtodTakeWhole) {
    const struct {
        const char* text;
        std::optional<std::int32_t> asInt;
        double asDouble;
    } cases[] = {
        {"-12", -12, -12.0},
        {"+7", 7, 7.0},
        {" 5", 5, 5.0},
        {"0x10", 16, 16.0},
        {"-0x10", -16, -16.0},
        {"010", 8, 10.0},
        {"99999999999", kMax, 99999999999.0},
        {"-99999999999", kMin, -99999999999.0},
        {"2147483648", kMax, 2147483648.0},
        {"-2147483648", kMin, -2147483648.0},
        {"18446744073709551616", kMax, 0x1p64},
        {"0x7fffffffffffffffff", kMax, 0x1p71},
        {"08", kNone, 8.0},
        {"3.000000", kNone, 3.0},
        {"1e3", kNone, 1000.0},
        {".5", kNone, 0.5},
        {"0x1p3", kNone, 8.0},
        {"1e-400", kNone, 0.0},
        {"-Infinity", kNone, -kInf},
        {"1e999", kNone, kInf},
        {"nan(7)", kNone, kNan},
    };
    for (const char* text : {"",   "-", "+",  "0x", "0xg", "12a",   "1_000", "--1",  "+-1", "0b1",
                             "5 ", ".", "e3", "1e", "1,5", "0xinf", "0x-1",  "1.5.", "yes", "~"}) {
        EXPECT_EQ(ParseWholeInt32(text), kNone) << text;
        EXPECT_EQ(ParseWholeDouble(text), kNone) << text;
    }
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(ParseWholeInt32(c.text), c.asInt);
        const std::optional<double> parsed = ParseWholeDouble(c.text);
        ASSERT_TRUE(parsed.has_value());
        EXPECT_TRUE(*parsed == c.asDouble || (std::isnan(*parsed) && std::isnan(c.asDouble)))
            << *parsed;
    }
}

TEST(NumberTextTest, FormatFixedWritesSixDecimalsWithAPoint) {
    EXPECT_EQ(FormatFixed(3), "3.000000");
    EXPECT_EQ(FormatFixed(-0.5), "-0.500000");
    EXPECT_EQ(FormatFixed(1e20), "100000000000000000000.000000");
    EXPECT_EQ(FormatFixed(kInf), "inf");
    EXPECT_EQ(FormatFixed(-std::numeric_limits<double>::max()).size(), 317u); // 309 digits
}

TEST(NumberTextTest, IgnoresTheProcessLocale) {
    // A host may switch to a locale with a decimal comma; the files must not notice.
    const char* old = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = old != nullptr ? old : "C";
    const bool switched = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr ||
                          std::setlocale(LC_NUMERIC, "German_Germany.1252") != nullptr;
    EXPECT_EQ(FormatFixed(2.5), "2.500000");
    EXPECT_EQ(ParseWholeDouble("2.5"), 2.5);
    EXPECT_FALSE(ParseWholeDouble("2,5").has_value());
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (!switched) {
        GTEST_SKIP() << "no locale with a decimal comma installed; checked in the C locale only";
    }
}

} // namespace
} // namespace cv
