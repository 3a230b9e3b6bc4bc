#include "cloud/cloud_client_table.h"

#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace cloud {
namespace {

std::wstring Variant(const wchar_t* folder) {
    return platform::JoinPath((platform::testing::TestBinFolder() / folder).wstring(),
                              platform::SystemModuleName(kCloudClientModule));
}

TEST(CloudClientTableTest, LoadResolvesEveryExportInOrder) {
    CloudClientTable* table = LoadCloudClient();
    ASSERT_NE(table, nullptr);
    EXPECT_NE(table->module, nullptr);
    for (std::size_t i = 0; i < kCloudClientExports.size(); ++i) {
        EXPECT_EQ(table->functions[i],
                  platform::FindExport(table->module, kCloudClientExports[i]).address)
            << kCloudClientExports[i];
    }
    UnloadCloudClient(table);
    UnloadCloudClient(nullptr);
}

TEST(CloudClientTableTest, ALibraryLackingOneExportIsRefusedWhole) {
    EXPECT_EQ(LoadCloudClient(Variant(L"noregister").c_str()), nullptr);
    EXPECT_EQ(LoadCloudClient(L"no-such-cloud-library.dll"), nullptr);
}

TEST(CloudClientTableTest, TwoLoadsAreIndependentRecordsOnOneModule) {
    CloudClientTable* first = LoadCloudClient();
    CloudClientTable* second = LoadCloudClient();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->Init(), second->Init());
    UnloadCloudClient(first);
    // The second reference keeps the module mapped.
    CvzSession session = nullptr;
    EXPECT_EQ(second->Init()(&session), 0);
    EXPECT_EQ(second->Uninit()(session), 0);
    UnloadCloudClient(second);
}

// The process-wide count poisons its process when it goes below 0, so each scenario runs in a
// child process and reports by its exit code.
TEST(ProcessCloudClientTest, UsesAreCountedAndTheLastReleaseUnloads) {
    EXPECT_EXIT(
        {
            CloudClientTable* first = AcquireProcessCloudClient();
            CloudClientTable* second = AcquireProcessCloudClient();
            bool ok = first != nullptr && first == second && ProcessCloudClientUseCount() == 2;
            ReleaseProcessCloudClient();
            ok = ok && ProcessCloudClient() == first && ProcessCloudClientUseCount() == 1;
            ReleaseProcessCloudClient();
            ok = ok && ProcessCloudClient() == nullptr && ProcessCloudClientUseCount() == 0;
            // Loads again from 0.
            ok = ok && AcquireProcessCloudClient() != nullptr;
            ReleaseProcessCloudClient();
            std::exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessCloudClientTest, AReleaseWithoutAUseLeavesTheLibraryUnloadableForGood) {
    EXPECT_EXIT(
        {
            ReleaseProcessCloudClient();
            bool ok = ProcessCloudClientUseCount() == -1 && ProcessCloudClient() == nullptr;
            ok = ok && AcquireProcessCloudClient() == nullptr && ProcessCloudClientUseCount() == -1;
            std::exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessCloudClientTest, ARefusedLibraryTakesNoUse) {
    EXPECT_EXIT(
        {
            SetProcessCloudClientModuleForTesting(Variant(L"noregister").c_str());
            bool ok = AcquireProcessCloudClient() == nullptr && ProcessCloudClientUseCount() == 0;
            std::exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace cloud
