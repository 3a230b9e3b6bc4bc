#include "platform/utf8.h"

#include "platform/build_config.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

TEST(Utf8Test, MeasuresWithTheTerminatorAndRefusesTooSmallRoom) {
    const wchar_t* text = L"a\u00E9\U0001F600";
    EXPECT_EQ(WideToUtf8(text, nullptr, 0), 1u + 2u + 4u + 1u);
    char exact[8];
    EXPECT_EQ(WideToUtf8(text, exact, sizeof exact), 8u);
    EXPECT_STREQ(exact, "a\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(WideToUtf8(text, exact, 7), 0u);

    const std::size_t wideUnits = sizeof(wchar_t) == 2 ? 5u : 4u; // the surrogate pair
    EXPECT_EQ(Utf8ToWide(exact, nullptr, 0), wideUnits);
    wchar_t back[5];
    EXPECT_EQ(Utf8ToWide(exact, back, wideUnits), wideUnits);
    EXPECT_STREQ(back, text);
    EXPECT_EQ(Utf8ToWide(exact, back, wideUnits - 1), 0u);
    EXPECT_EQ(WideToUtf8(nullptr, nullptr, 0), 0u);
    EXPECT_EQ(Utf8ToWide(nullptr, nullptr, 0), 0u);
}

TEST(Utf8Test, WholeTextsStopAtTheFirstZeroAndReplaceBadSequences) {
    EXPECT_EQ(WideToUtf8(std::wstring_view(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(WideToUtf8(std::wstring_view()), "");
    struct Case {
        const char* utf8;
        const wchar_t* wide;
    };
    const Case cases[] = {
        {"x\xFFy", L"x\uFFFDy"},
        {"\xE2\x82\xAC", L"\u20AC"},
#if defined(NEXILO_OS_POSIX)                     // each maximal bad subpart becomes one replacement
        {"\xE2\x82", L"\uFFFD"},                 // cut sequence
        {"\xE2\x82x", L"\uFFFDx"},               // cut before an ASCII byte
        {"\xC0\xAF", L"\uFFFD\uFFFD"},           // overlong
        {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"}, // encoded surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
        {"\x80z", L"\uFFFDz"},                             // lone continuation
#endif
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Utf8ToWide(c.utf8), c.wide) << c.utf8;
    }
#if defined(NEXILO_OS_POSIX)
    const wchar_t outside[] = {L'a', static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x110000),
                               L'b', 0};
    EXPECT_EQ(WideToUtf8(outside), "a\xEF\xBF\xBD\xEF\xBF\xBD"
                                   "b");
#endif
}

} // namespace
} // namespace platform
