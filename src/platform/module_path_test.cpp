#include "platform/module_path.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

TEST(ModulePathTest, OwnModuleOfATestProgramIsTheProgram) {
    const PathResult exe = GetExecutablePath();
    const PathResult own = GetOwnModulePath();
    ASSERT_EQ(own.error, kErrorSuccess);
    ASSERT_FALSE(own.path.empty());
    EXPECT_EQ(own.path, exe.path);
    EXPECT_NE(own.path.find(L"platform_tests"), std::wstring::npos);
}

TEST(ModulePathTest, FileNameFollowsTheCutRuleOfTheWindowsCall) {
    const std::wstring path = GetOwnModulePath().path;
    ASSERT_GT(path.size(), 8u);
    std::wstring buffer(path.size() + 1, L'#');
    EXPECT_EQ(GetOwnModuleFileName(buffer.data(), static_cast<std::uint32_t>(buffer.size())),
              path.size());
    EXPECT_EQ(std::wstring(buffer.c_str()), path);

    // Exactly the path's length leaves no room for the terminator: cut.
    std::wstring cut(path.size(), L'#');
    const auto size = static_cast<std::uint32_t>(cut.size());
    EXPECT_EQ(GetOwnModuleFileName(cut.data(), size), size);
    EXPECT_EQ(std::wstring(cut.c_str()), path.substr(0, path.size() - 1));

    EXPECT_EQ(GetOwnModuleFileName(cut.data(), 0), 0u);
}

} // namespace
} // namespace platform
