#include "platform/crt_print.h"

#include "platform/build_config.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <type_traits>

#if defined(NEXILO_OS_POSIX)
#include <locale.h>
#endif

namespace platform {
namespace {

// Prints through the seam, or measures when `buffer` is null.
template <class Ch>
int Print(Ch* buffer, std::size_t count, const Ch* format, ...) {
    va_list args;
    va_start(args, format);
    int result = 0;
    if constexpr (std::is_same_v<Ch, wchar_t>) {
        result = buffer ? PrintWide(buffer, count, format, args) : MeasureWide(format, args);
    } else {
        result = buffer ? PrintNarrow(buffer, count, format, args) : MeasureNarrow(format, args);
    }
    va_end(args);
    return result;
}

TEST(CrtPrintTest, CutTextsAreReportedAndTerminated) {
    wchar_t wide[4] = {L'x', L'x', L'x', L'x'};
    EXPECT_EQ(Print(wide, 4, L"%ls", L"abcdefgh"), kPrintTooSmall);
    EXPECT_EQ(wide[3], L'\0');
    EXPECT_EQ(Print(wide, 4, L"%d", 123), 3);
    EXPECT_STREQ(wide, L"123");

    char narrow[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(Print(narrow, 4, "%s", "abcdefgh"), kPrintTooSmall);
    EXPECT_EQ(narrow[3], '\0');
    EXPECT_EQ(Print<char>(nullptr, 0, "%s-%d", "abc", 12345), 9);
#if defined(NEXILO_OS_WIN)
    EXPECT_EQ(Print<wchar_t>(nullptr, 0, L"%d-%ls", 12345, L"abc"), 9);
#else
    EXPECT_EQ(Print<wchar_t>(nullptr, 0, L"%d-%ls", 12345, L"abc"), -1) << "glibc cannot measure";
#endif
}

#if defined(NEXILO_OS_POSIX)
TEST(CrtPrintPosixTest, OtherWidthArgumentsAreUtf8InTheCLocale) {
    ASSERT_EQ(uselocale(LC_GLOBAL_LOCALE), LC_GLOBAL_LOCALE);
    const locale_t before = uselocale(nullptr);
    wchar_t wide[16];
    ASSERT_EQ(Print(wide, 16, L"[%hs]", "\xC3\xA9\xF0\x9F\x98\x80"), 4);
    EXPECT_STREQ(wide, L"[\u00E9\U0001F600]");
    char narrow[16];
    ASSERT_EQ(Print(narrow, 16, "[%ls]", L"\u20AC"), 5);
    EXPECT_STREQ(narrow, "[\xE2\x82\xAC]");
    EXPECT_EQ(uselocale(nullptr), before) << "the thread's locale is given back";

    EXPECT_EQ(Print(wide, 16, L"[%hs]", "\xFF"), kPrintFailed);
    EXPECT_EQ(wide[15], L'\0');
}
#endif

} // namespace
} // namespace platform
