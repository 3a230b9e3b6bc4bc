#include "foundation/error_category.h"

#include <gtest/gtest.h>

namespace {

using winapi::details::WinErrorCategory;

TEST(ThrowPlatformErrorTest, WhatIsContextColonBlankMessageOrTheMessageAlone) {
    const auto hresult = static_cast<std::int32_t>(0x80041002u);
    const struct {
        std::int32_t code;
        const char* context;
        std::string what;
    } cases[] = {
        {5, "CoInitialize failed", "CoInitialize failed: " + WinErrorCategory().message(5)},
        {hresult, "ExecQuery failed", "ExecQuery failed: " + WinErrorCategory().message(hresult)},
        {0x12345678, "", "unknown error"},
        {0x12345678, nullptr, "unknown error"},
    };
    for (const auto& c : cases) {
        try {
            cv::ThrowPlatformError(c.code, c.context);
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.what(), c.what);
            EXPECT_EQ(error.code().value(), c.code) << "passed unchanged";
            EXPECT_EQ(&error.code().category(), &WinErrorCategory());
        }
    }
    EXPECT_NE(WinErrorCategory().message(5), "unknown error");
    EXPECT_FALSE(std::error_code(5, WinErrorCategory()) ==
                 std::error_condition(5, std::generic_category()));
    EXPECT_STREQ(cv::TextException(nullptr).what(), "");
}

} // namespace
