#include "platform/utf8.h"

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
    char small[7];
    EXPECT_EQ(WideToUtf8(text, small, sizeof small), 0u);

    const std::size_t wideUnits = sizeof(wchar_t) == 2 ? 5u : 4u; // the surrogate pair
    EXPECT_EQ(Utf8ToWide(exact, nullptr, 0), wideUnits);
    wchar_t back[5];
    EXPECT_EQ(Utf8ToWide(exact, back, wideUnits), wideUnits);
    EXPECT_STREQ(back, text);
    EXPECT_EQ(Utf8ToWide(exact, back, wideUnits - 1), 0u);

    EXPECT_EQ(WideToUtf8(nullptr, nullptr, 0), 0u);
    EXPECT_EQ(Utf8ToWide(nullptr, nullptr, 0), 0u);
}

TEST(Utf8Test, WholeTextsStopAtTheFirstZeroAndReplaceBadBytes) {
    EXPECT_EQ(WideToUtf8(std::wstring_view(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(WideToUtf8(std::wstring_view()), "");
    EXPECT_EQ(Utf8ToWide("x\xFFy"), L"x\uFFFDy");
    EXPECT_EQ(Utf8ToWide("\xE2\x82\xAC"), L"\u20AC");
}

} // namespace
} // namespace platform
