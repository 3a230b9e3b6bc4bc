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

// The process-wide count poisons its process when it goes below 0, so each scenario runs in a
// child process and reports by its exit code.
TEST(ProcessCloudClientTest, CountsUsesInAChildProcessEach) {
    struct Scenario {
        const char* name;
        bool (*run)();
    } const scenarios[] = {
        {"the last release unloads, and a use loads again",
         [] {
             CloudClientTable* first = AcquireProcessCloudClient();
             bool ok = first != nullptr && AcquireProcessCloudClient() == first &&
                       ProcessCloudClientUseCount() == 2;
             ReleaseProcessCloudClient();
             ok = ok && ProcessCloudClient() == first && ProcessCloudClientUseCount() == 1;
             ReleaseProcessCloudClient();
             ok = ok && ProcessCloudClient() == nullptr && ProcessCloudClientUseCount() == 0;
             return ok && AcquireProcessCloudClient() != nullptr;
         }},
        {"a release without a use leaves it unloadable for good",
         [] {
             ReleaseProcessCloudClient();
             return ProcessCloudClientUseCount() == -1 && AcquireProcessCloudClient() == nullptr &&
                    ProcessCloudClientUseCount() == -1 && ProcessCloudClient() == nullptr;
         }},
        {"a refused library takes no use",
         [] {
             SetProcessCloudClientModuleForTesting(Variant(L"noregister").c_str());
             return AcquireProcessCloudClient() == nullptr && ProcessCloudClientUseCount() == 0;
         }},
    };
    for (const Scenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.name);
        EXPECT_EXIT(std::exit(scenario.run() ? 0 : 1), testing::ExitedWithCode(0), "");
    }
}

} // namespace
} // namespace cloud
