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

int Narrow(char* buffer, std::size_t count, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int result = PrintNarrow(buffer, count, format, args);
    va_end(args);
    return result;
}

TEST(CrtPrintPosixTest, OtherWidthArgumentsAreUtf8InTheCLocale) {
    ASSERT_EQ(uselocale(LC_GLOBAL_LOCALE), LC_GLOBAL_LOCALE);
    const locale_t before = uselocale(nullptr);

    wchar_t wide[16];
    ASSERT_EQ(Wide(wide, 16, L"[%hs]", "\xC3\xA9\xF0\x9F\x98\x80"), 4);
    EXPECT_STREQ(wide, L"[\u00E9\U0001F600]");
    char narrow[16];
    ASSERT_EQ(Narrow(narrow, 16, "[%ls]", L"\u20AC"), 5);
    EXPECT_STREQ(narrow, "[\xE2\x82\xAC]");
    EXPECT_EQ(uselocale(nullptr), before) << "the thread's locale is given back";

    EXPECT_EQ(Wide(wide, 16, L"[%hs]", "\xFF"), kPrintFailed);
    EXPECT_EQ(wide[15], L'\0');
}

} // namespace
} // namespace platform
