#include "foundation/number_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace cv {
namespace {

TEST(ParseWholeInt32Test, ReadsTheCBasesAndClampsTo32Bits) {
    const struct {
        const char* text;
        std::int32_t value;
    } cases[] = {
        {"0", 0},
        {"12", 12},
        {"-12", -12},
        {"+7", 7},
        {"0x10", 16},
        {"0X1f", 31},
        {"-0x10", -16},
        {"010", 8},
        {" 5", 5},
        {"99999999999", 2147483647},
        {"-99999999999", -2147483647 - 1},
        {"2147483648", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"18446744073709551616", 2147483647},
        {"0x7fffffffffffffffff", 2147483647},
    };
    for (const auto& c : cases) {
        std::optional<std::int32_t> parsed = ParseWholeInt32(c.text);
        ASSERT_TRUE(parsed.has_value()) << c.text;
        EXPECT_EQ(*parsed, c.value) << c.text;
    }
}

TEST(ParseWholeInt32Test, RefusesWhatStrtolWouldNotTakeWhole) {
    for (const char* text : {"", "-", "+", "0x", "0xg", "08", "3.0", "1e3", "12a", "1_000", "--1",
                             "+-1", "0b1", "5 "}) {
        EXPECT_FALSE(ParseWholeInt32(text).has_value()) << text;
    }
}

TEST(ParseWholeDoubleTest, ReadsTheFormsOfStrtod) {
    const struct {
        const char* text;
        double value;
    } cases[] = {
        {"3.000000", 3.0}, {"1e3", 1000.0},  {".5", 0.5},     {"5.", 5.0},
        {"-2.5", -2.5},    {"+2.5", 2.5},    {"08", 8.0},     {"0x1p3", 8.0},
        {"0x.8", 0.5},     {"-0x10", -16.0}, {"1e-400", 0.0}, {"0.000000", 0.0},
    };
    for (const auto& c : cases) {
        std::optional<double> parsed = ParseWholeDouble(c.text);
        ASSERT_TRUE(parsed.has_value()) << c.text;
        EXPECT_EQ(*parsed, c.value) << c.text;
    }
    EXPECT_EQ(ParseWholeDouble("inf"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseWholeDouble("-Infinity"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseWholeDouble("1e999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseWholeDouble("-123456789e999"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseWholeDouble("0.0000001e-999"), 0.0);
    EXPECT_TRUE(std::isnan(*ParseWholeDouble("nan")));
    EXPECT_TRUE(std::isnan(*ParseWholeDouble("nan(7)")));
}

TEST(ParseWholeDoubleTest, RefusesWhatStrtodWouldNotTakeWhole) {
    for (const char* text :
         {"", ".", "e3", "1e", "1,5", "0x", "0xinf", "0x-1", "--1", "+-1", "1.5.", "yes", "~"}) {
        EXPECT_FALSE(ParseWholeDouble(text).has_value()) << text;
    }
}

TEST(FormatFixedTest, WritesSixDecimalsWithAPoint) {
    EXPECT_EQ(FormatFixed(3), "3.000000");
    EXPECT_EQ(FormatFixed(-0.5), "-0.500000");
    EXPECT_EQ(FormatFixed(1e20), "100000000000000000000.000000");
    EXPECT_EQ(FormatFixed(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(FormatFixed(-std::numeric_limits<double>::max()).size(), 317u); // 309 digits
}

TEST(NumberTextTest, IgnoresTheProcessLocale) {
    // A host may switch to a locale with a decimal comma; the files must not notice.
    const char* old = std::setlocale(LC_NUMERIC, nullptr);
    std::string saved = old != nullptr ? old : "C";
    bool switched = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr ||
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
