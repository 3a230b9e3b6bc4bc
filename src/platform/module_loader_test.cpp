#include "platform/module_loader.h"

#include "platform/build_config.h"
#include "platform/module_path.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

#if defined(NEXILO_OS_WIN)
constexpr const wchar_t* kSystemModule = L"kernel32.dll";
constexpr const char* kSystemExport = "GetLastError";
constexpr const wchar_t* kRoot = L"C:\\";
constexpr const wchar_t* kSeparator = L"\\";
#else
constexpr const wchar_t* kSystemModule = L"libc.so.6";
constexpr const char* kSystemExport = "free";
constexpr const wchar_t* kRoot = L"/";
constexpr const wchar_t* kSeparator = L"/";
#endif

TEST(ModuleLoaderTest, ProductNamesBecomeSystemNames) {
#if defined(NEXILO_OS_WIN)
    EXPECT_EQ(SystemModuleName(L"hostcore.dll"), L"hostcore.dll");
#else
    EXPECT_EQ(SystemModuleName(L"hostcore.dll"), L"hostcore.so");
    EXPECT_EQ(SystemModuleName(L"dir/Tracelog.DLL"), L"dir/Tracelog.so");
    EXPECT_EQ(SystemModuleName(L"libc.so.6"), L"libc.so.6");
#endif
}

TEST(ModuleLoaderTest, PathsSplitAndJoinOnTheSystemSeparator) {
    EXPECT_TRUE(IsRelativePath(L"hostcore.dll"));
    EXPECT_TRUE(IsRelativePath(L""));
    EXPECT_FALSE(IsRelativePath(kRoot));
    std::wstring folder = JoinPath(kRoot, L"folder");
    std::wstring file = JoinPath(folder, L"name.dll");
    EXPECT_EQ(ParentFolder(file), folder);
    EXPECT_EQ(ParentFolder(folder), kRoot);
    EXPECT_EQ(JoinPath(folder + kSeparator, L"x"),
              JoinPath(folder, std::wstring(kSeparator) + L"x"));
    EXPECT_EQ(ParentFolder(folder + kSeparator + L"x" + kSeparator), folder + kSeparator + L"x");
    EXPECT_EQ(ParentFolder(L"name.dll"), L"");
}

TEST(ModuleLoaderTest, ThisModuleIdIsStable) {
    EXPECT_NE(ThisModuleId(), nullptr);
    EXPECT_EQ(ThisModuleId(), ThisModuleId());
}

TEST(ModuleLoaderTest, MissingModuleGivesModNotFound) {
    ModuleResult bare = LoadModule(L"nexilo_no_such_module.dll");
    EXPECT_FALSE(bare.module);
    EXPECT_EQ(bare.error, kErrorModNotFound);

    ModuleResult beside = LoadModuleBesideExecutableOrSelf(L"nexilo_no_such_module.dll");
    EXPECT_FALSE(beside.module);
    EXPECT_EQ(beside.error, kErrorModNotFound);

    ModuleResult full =
        LoadModuleFile(JoinPath(ParentFolder(GetExecutablePath().path), L"nope.dll"));
    EXPECT_FALSE(full.module);
    EXPECT_EQ(full.error, kErrorModNotFound);

    ModuleResult loaded = AcquireLoadedModule(L"nexilo_no_such_module.dll");
    EXPECT_FALSE(loaded.module);
    EXPECT_EQ(loaded.error, kErrorModNotFound);
}

TEST(ModuleLoaderTest, SystemModuleLoadsAndReportsMissingExports) {
    ModuleResult result = LoadModule(kSystemModule);
    ASSERT_TRUE(result.module) << result.error;
    EXPECT_EQ(result.error, kErrorSuccess);

    ExportResult missing = FindExport(result.module.get(), "NexiloNoSuchExport");
    EXPECT_EQ(missing.address, nullptr);
    EXPECT_EQ(missing.error, kErrorProcNotFound);

    ExportResult present = FindExport(result.module.get(), kSystemExport);
    EXPECT_NE(present.address, nullptr);
    EXPECT_EQ(present.error, kErrorSuccess);

    ModuleResult again = AcquireLoadedModule(kSystemModule);
    ASSERT_TRUE(again.module) << again.error;
}

} // namespace
} // namespace platform
