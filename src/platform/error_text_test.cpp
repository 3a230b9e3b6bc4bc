#include "platform/error_text.h"

#include "platform/error_codes.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(SystemErrorTextTest, NumbersTheSystemPassesHaveText) {
    for (ErrorCode code : {kErrorFileNotFound, kErrorAccessDenied, kErrorInvalidParameter,
                           kErrorNotFound, kErrorGenFailure, kErrorFunctionFailed}) {
        std::optional<std::string> text = SystemErrorText(static_cast<std::int32_t>(code));
        ASSERT_TRUE(text.has_value()) << code;
        EXPECT_FALSE(text->empty()) << code;
    }
}

TEST(SystemErrorTextTest, UnknownNumberHasNoText) {
    EXPECT_FALSE(SystemErrorText(0x12345678).has_value());
}

} // namespace
} // namespace platform
