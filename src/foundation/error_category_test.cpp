#include "foundation/error_category.h"

#include <gtest/gtest.h>

namespace {

using winapi::details::WinErrorCategory;

TEST(WinErrorCategoryTest, NamesItselfAndFallsBackForUnknownCodes) {
    EXPECT_STREQ(WinErrorCategory().name(), "last_error");
    EXPECT_EQ(WinErrorCategory().message(0x12345678), "unknown error");
    EXPECT_NE(WinErrorCategory().message(5), "unknown error");
    EXPECT_NE(WinErrorCategory().message(1168), "unknown error");
}

TEST(WinErrorCategoryTest, CodesMatchConditionsOfTheSameCategoryOnly) {
    const std::error_code code(5, WinErrorCategory());
    EXPECT_EQ(code.default_error_condition(), std::error_condition(5, WinErrorCategory()));
    EXPECT_TRUE(code == std::error_condition(5, WinErrorCategory()));
    EXPECT_FALSE(code == std::error_condition(5, std::generic_category()));
    EXPECT_FALSE(code == std::error_condition(6, WinErrorCategory()));
}

TEST(ThrowPlatformErrorTest, WhatIsContextColonBlankMessage) {
    try {
        cv::ThrowPlatformError(5, "CoInitialize failed");
        FAIL() << "nothing thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "CoInitialize failed: " + WinErrorCategory().message(5));
        EXPECT_EQ(error.code().value(), 5);
        EXPECT_EQ(&error.code().category(), &WinErrorCategory());
    }
}

TEST(ThrowPlatformErrorTest, EmptyContextGivesTheMessageAlone) {
    for (const char* context : {"", static_cast<const char*>(nullptr)}) {
        try {
            cv::ThrowPlatformError(0x12345678, context);
            FAIL() << "nothing thrown";
        } catch (const std::system_error& error) {
            EXPECT_STREQ(error.what(), "unknown error");
        }
    }
}

TEST(ThrowPlatformErrorTest, HresultPassesUnchangedAndSurvivesARethrowElsewhere) {
    const auto hresult = static_cast<std::int32_t>(0x80041002u);
    std::exception_ptr caught;
    try {
        cv::ThrowPlatformError(hresult, "IWbemServices::ExecQuery failed");
    } catch (...) {
        caught = std::current_exception();
    }
    try {
        std::rethrow_exception(caught);
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), hresult);
        EXPECT_EQ(std::string(error.what()).rfind("IWbemServices::ExecQuery failed: ", 0), 0u);
    }
}

TEST(TextExceptionTest, CarriesItsTextAsAStdException) {
    try {
        throw cv::TextException("Property not found");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "Property not found");
    }
}

} // namespace
