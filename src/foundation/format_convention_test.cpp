#include "foundation/format_convention.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace cv::detail {
namespace {

// Formats are ASCII, so one table serves both widths.
TEST(FormatConventionTest, FormatsNameTheWidthOfEveryTextAndCharacter) {
    const struct {
        const char* windows;
        const char* wide;
        const char* narrow;
    } cases[] = {
        {"%s|%S|%hs|%ls|%ws", "%ls|%hs|%hs|%ls|%ls", "%s|%ls|%s|%ls|%ls"},
        {"%c|%C|%hc|%wc", "%lc|%hc|%hc|%lc", "%c|%lc|%c|%lc"},
        {"%%s %%S 100%%", "%%s %%S 100%%", "%%s %%S 100%%"},
        {"[%-10.*s][%*S][%#5.3hs]", "[%-10.*ls][%*hs][%#5.3hs]", "[%-10.*s][%*ls][%#5.3s]"},
        {"%I64d %I64u %I32x %Iu", "%lld %llu %x %zu", "%lld %llu %x %zu"},
        {"%lld %hhd %5.2f %p %zu", "%lld %hhd %5.2f %p %zu", "%lld %hhd %5.2f %p %zu"},
        {"end %", "end %", "end %"},
        {"end %-5", "end %-5", "end %-5"},
        {"end %l", "end %l", "end %l"},
        {"", "", ""},
    };
    auto widen = [](const char* text) { return std::wstring(text, text + std::strlen(text)); };
    for (const auto& c : cases) {
        EXPECT_EQ(TranslateWideFormat(widen(c.windows)), widen(c.wide)) << c.windows;
        EXPECT_EQ(TranslateNarrowFormat(c.windows), c.narrow) << c.windows;
    }
}

} // namespace
} // namespace cv::detail
