#include "foundation/format_convention.h"

#include <gtest/gtest.h>

namespace cv::detail {
namespace {

TEST(FormatConventionTest, WideFormatsNameTheWidthOfEveryTextAndCharacter) {
    struct Case {
        const wchar_t* windows;
        const wchar_t* standard;
    };
    const Case cases[] = {
        {L"%s", L"%ls"},
        {L"%S", L"%hs"},
        {L"%hs|%ls|%ws", L"%hs|%ls|%ls"},
        {L"%c|%C|%hc|%wc", L"%lc|%hc|%hc|%lc"},
        {L"%%s %%S 100%%", L"%%s %%S 100%%"},
        {L"[%-10.*s][%*S][%#5.3hs]", L"[%-10.*ls][%*hs][%#5.3hs]"},
        {L"%I64d %I64u %I32x %Iu", L"%lld %llu %x %zu"},
        {L"%lld %hhd %5.2f %p %zu", L"%lld %hhd %5.2f %p %zu"},
        {L"end %", L"end %"},
        {L"end %-5", L"end %-5"},
        {L"end %l", L"end %l"},
        {L"", L""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(TranslateWideFormat(c.windows), c.standard) << c.windows;
    }
}

TEST(FormatConventionTest, NarrowFormatsKeepNarrowDefaults) {
    EXPECT_EQ(TranslateNarrowFormat("%s|%S|%hs|%ls|%ws"), "%s|%ls|%s|%ls|%ls");
    EXPECT_EQ(TranslateNarrowFormat("%c|%C|%%|%-3.1s"), "%c|%lc|%%|%-3.1s");
}

} // namespace
} // namespace cv::detail
