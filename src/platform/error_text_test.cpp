#include "platform/error_text.h"

#include "platform/build_config.h"
#include "platform/error_codes.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(SystemErrorTextTest, NumbersTheSystemPassesHaveTextAndUnknownOnesNone) {
    for (ErrorCode code : {kErrorFileNotFound, kErrorAccessDenied, kErrorInvalidParameter,
                           kErrorNotFound, kErrorGenFailure, kErrorFunctionFailed}) {
        std::optional<std::string> text = SystemErrorText(static_cast<std::int32_t>(code));
        ASSERT_TRUE(text.has_value()) << code;
        EXPECT_FALSE(text->empty()) << code;
    }
    // No text here is what makes the error category say "unknown error".
    EXPECT_FALSE(SystemErrorText(0x12345678).has_value());
#if defined(NEXILO_OS_POSIX)
    EXPECT_EQ(SystemErrorText(static_cast<std::int32_t>(0x80070005u)), SystemErrorText(5));
    EXPECT_FALSE(SystemErrorText(static_cast<std::int32_t>(0x80041002u)).has_value());
#endif
}

} // namespace
} // namespace platform
