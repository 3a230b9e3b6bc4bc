#include "platform/error_text.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(SystemErrorTextPosixTest, Win32HresultReadsAsItsNumber) {
    EXPECT_EQ(SystemErrorText(static_cast<std::int32_t>(0x80070005u)), SystemErrorText(5));
    EXPECT_FALSE(SystemErrorText(static_cast<std::int32_t>(0x80041002u)).has_value());
}

} // namespace
} // namespace platform
