#include "platform/module_loader.h"

#include "platform/build_config.h"
#include "platform/module_path.h"
#include "platform/path_spec.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

#if defined(NEXILO_OS_WIN)
constexpr const wchar_t* kSystemModule = L"kernel32.dll";
constexpr const char* kSystemExport = "GetLastError";
constexpr const wchar_t* kRoot = L"C:\\";
#else
constexpr const wchar_t* kSystemModule = L"libc.so.6";
constexpr const char* kSystemExport = "free";
constexpr const wchar_t* kRoot = L"/";
#endif

TEST(ModuleLoaderTest, NamesAndPathsFollowTheSystem) {
#if defined(NEXILO_OS_WIN)
    EXPECT_EQ(SystemModuleName(L"hostcore.dll"), L"hostcore.dll");
#else
    EXPECT_EQ(SystemModuleName(L"dir/Tracelog.DLL"), L"dir/Tracelog.so");
    EXPECT_EQ(SystemModuleName(L"libc.so.6"), L"libc.so.6");
#endif
    EXPECT_TRUE(IsRelativePath(L"hostcore.dll"));
    EXPECT_FALSE(IsRelativePath(kRoot));
    const std::wstring separator(1, kPathSeparator);
    const std::wstring folder = JoinPath(kRoot, L"folder");
    const std::wstring file = JoinPath(folder + separator, L"name.dll");
    EXPECT_EQ(file, JoinPath(folder, separator + L"name.dll"));
    EXPECT_EQ(ParentFolder(file), folder);
    EXPECT_EQ(ParentFolder(file + separator), file);
    EXPECT_EQ(ParentFolder(folder), kRoot);
    EXPECT_EQ(ParentFolder(L"name.dll"), L"");
}

TEST(ModuleLoaderTest, EverySearchRuleGivesModNotFoundForAMissingModule) {
    const std::wstring inBin = JoinPath(ParentFolder(GetExecutablePath().path), L"nope.dll");
    const ModuleResult results[] = {
        LoadModule(L"nexilo_no_such_module.dll"),
        LoadModuleBesideExecutableOrSelf(L"nexilo_no_such_module.dll"),
        LoadModuleFile(inBin),
        AcquireLoadedModule(L"nexilo_no_such_module.dll"),
    };
    for (const ModuleResult& result : results) {
        EXPECT_FALSE(result.module);
        EXPECT_EQ(result.error, kErrorModNotFound);
    }
}

TEST(ModuleLoaderTest, SystemModuleLoadsAndReportsMissingExports) {
    ModuleResult result = LoadModule(kSystemModule);
    ASSERT_TRUE(result.module) << result.error;
    ExportResult missing = FindExport(result.module.get(), "NexiloNoSuchExport");
    EXPECT_EQ(missing.address, nullptr);
    EXPECT_EQ(missing.error, kErrorProcNotFound);
    ExportResult present = FindExport(result.module.get(), kSystemExport);
    EXPECT_NE(present.address, nullptr);
    EXPECT_EQ(present.error, kErrorSuccess);
    EXPECT_TRUE(AcquireLoadedModule(kSystemModule).module);
    EXPECT_NE(ThisModuleId(), nullptr);
    EXPECT_EQ(ThisModuleId(), ThisModuleId());
}

} // namespace
} // namespace platform
