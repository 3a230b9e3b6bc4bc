#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

TEST(Utf8PosixTest, EachMaximalBadSubpartBecomesOneReplacement) {
    struct Case {
        const char* utf8;
        const wchar_t* wide;
    };
    const Case cases[] = {
        {"\xE2\x82", L"\uFFFD"},                           // cut sequence
        {"\xE2\x82x", L"\uFFFDx"},                         // cut before an ASCII byte
        {"\xC0\xAF", L"\uFFFD\uFFFD"},                     // overlong
        {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},           // encoded surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
        {"\x80z", L"\uFFFDz"},                             // lone continuation
        {"\xF0\x9F\x98\x80", L"\U0001F600"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Utf8ToWide(c.utf8), c.wide) << c.utf8;
    }
}

TEST(Utf8PosixTest, WideUnitsOutsideUnicodeBecomeReplacements) {
    const wchar_t text[] = {L'a', static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x110000),
                            L'b', 0};
    EXPECT_EQ(WideToUtf8(text), "a\xEF\xBF\xBD\xEF\xBF\xBD"
                                "b");
}

} // namespace
} // namespace platform
