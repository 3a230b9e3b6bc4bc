#include "platform/unique_resource.h"

#include "platform/win/windows_include.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(UniqueHandleTest, ClosesTheHandleAndKeepsTheLastError) {
    HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_NE(event, nullptr);
    DWORD flags = 0;
    {
        UniqueHandle handle(event);
        ::SetLastError(ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(::GetHandleInformation(event, &flags));
}

TEST(UniqueHandleTest, FileHandleTreatsInvalidHandleValueAsEmpty) {
    UniqueFileHandle file(::CreateFileW(L"Z:\\no\\such\\folder\\file", GENERIC_READ, 0, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(file);
}

} // namespace
} // namespace platform
