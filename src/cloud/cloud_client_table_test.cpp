#include "cloud/cloud_client_table.h"

#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

namespace cloud {
namespace {

std::wstring Variant(const wchar_t* folder) {
    return platform::JoinPath((platform_testing::TestBinFolder() / folder).wstring(),
                              platform::SystemModuleName(kCloudClientModule));
}

TEST(CloudClientTableTest, EachLoadResolvesEveryExportInOrderIntoItsOwnRecord) {
    CloudClientTable* first = LoadCloudClient();
    CloudClientTable* second = LoadCloudClient();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    for (std::size_t i = 0; i < kCloudClientExports.size(); ++i) {
        EXPECT_EQ(first->functions[i],
                  platform::FindExport(first->module, kCloudClientExports[i]).address)
            << kCloudClientExports[i];
    }
    UnloadCloudClient(first);
    // The second reference keeps the module mapped.
    CvzSession session = nullptr;
    EXPECT_EQ(second->Init()(&session), 0);
    EXPECT_EQ(second->Uninit()(session), 0);
    UnloadCloudClient(second);
    UnloadCloudClient(nullptr);
}

TEST(CloudClientTableTest, ALibraryLackingOneExportIsRefusedWhole) {
    EXPECT_EQ(LoadCloudClient(Variant(L"noregister").c_str()), nullptr);
    EXPECT_EQ(LoadCloudClient(L"no-such-cloud-library.dll"), nullptr);
}

TEST(CloudClientUsesTest, TheLastReleaseUnloadsAndAUseLoadsAgain) {
    CloudClientUses uses;
    CloudClientTable* first = uses.Acquire();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(uses.Acquire(), first);
    EXPECT_EQ(uses.UseCount(), 2);
    uses.Release();
    EXPECT_EQ(uses.Table(), first);
    EXPECT_EQ(uses.UseCount(), 1);
    uses.Release();
    EXPECT_EQ(uses.Table(), nullptr);
    EXPECT_EQ(uses.UseCount(), 0);
    ASSERT_NE(uses.Acquire(), nullptr);
    uses.Release();
}

TEST(CloudClientUsesTest, AReleaseWithoutAUseLeavesTheLibraryUnloadableForGood) {
    CloudClientUses uses;
    uses.Release();
    EXPECT_EQ(uses.UseCount(), -1);
    EXPECT_EQ(uses.Acquire(), nullptr);
    EXPECT_EQ(uses.UseCount(), -1);
    EXPECT_EQ(uses.Table(), nullptr);
}

TEST(CloudClientUsesTest, ARefusedLibraryTakesNoUse) {
    CloudClientUses uses(Variant(L"noregister"));
    EXPECT_EQ(uses.Acquire(), nullptr);
    EXPECT_EQ(uses.UseCount(), 0);
}

} // namespace
} // namespace cloud
