// Formatting through the seam is tested end to end by the string formatting tests; here only the
// private locale that they cannot see.
#include "platform/crt_print.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <locale.h>

namespace platform {
namespace {

int Wide(wchar_t* buffer, std::size_t count, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    int result = PrintWide(buffer, count, format, args);
    va_end(args);
    return result;
}

TEST(CrtPrintPosixTest, NarrowArgumentsAreUtf8InTheCLocaleWhichTheThreadGetsBack) {
    ASSERT_EQ(uselocale(LC_GLOBAL_LOCALE), LC_GLOBAL_LOCALE);
    const locale_t before = uselocale(nullptr);
    wchar_t wide[16];
    ASSERT_EQ(Wide(wide, 16, L"[%hs]", "\xC3\xA9\xF0\x9F\x98\x80"), 4);
    EXPECT_STREQ(wide, L"[\u00E9\U0001F600]");
    EXPECT_EQ(Wide(wide, 4, L"%ls", L"abcdefgh"), kPrintTooSmall);
    EXPECT_EQ(wide[3], L'\0');
    EXPECT_EQ(uselocale(nullptr), before);
}

} // namespace
} // namespace platform
