#include "platform/environment.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(EnvironmentTest, SetReadAndRemove) {
    const wchar_t* name = L"NEXILO_ENVIRONMENT_TEST_VARIABLE";
    ASSERT_TRUE(WriteEnvironmentVariable(name, L"value \u00e9"));
    EXPECT_EQ(ReadEnvironmentVariable(name), std::wstring(L"value \u00e9"));
    ASSERT_TRUE(WriteEnvironmentVariable(name, nullptr));
    EXPECT_EQ(ReadEnvironmentVariable(name), std::nullopt);
}

} // namespace
} // namespace platform
