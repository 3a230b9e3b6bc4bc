#include "platform/crt_print.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cwchar>

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

int MeasureN(const char* format, ...) {
    va_list args;
    va_start(args, format);
    int result = MeasureNarrow(format, args);
    va_end(args);
    return result;
}

TEST(CrtPrintTest, CutTextsAreReportedAndTerminated) {
    wchar_t wide[4] = {L'x', L'x', L'x', L'x'};
    EXPECT_EQ(Wide(wide, 4, L"%ls", L"abcdefgh"), kPrintTooSmall);
    EXPECT_EQ(wide[3], L'\0');
    EXPECT_EQ(Wide(wide, 4, L"%d", 123), 3);
    EXPECT_STREQ(wide, L"123");

    char narrow[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(Narrow(narrow, 4, "%s", "abcdefgh"), kPrintTooSmall);
    EXPECT_EQ(narrow[3], '\0');
    EXPECT_EQ(MeasureN("%s-%d", "abc", 12345), 9);
}

int MeasureW(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    int result = MeasureWide(format, args);
    va_end(args);
    return result;
}

TEST(CrtPrintTest, WideMeasureWorksOnlyWhereTheRuntimeCanMeasure) {
#if defined(_WIN32)
    EXPECT_EQ(MeasureW(L"%d-%ls", 12345, L"abc"), 9);
#else
    EXPECT_EQ(MeasureW(L"%d-%ls", 12345, L"abc"), -1);
#endif
}

} // namespace
} // namespace platform
