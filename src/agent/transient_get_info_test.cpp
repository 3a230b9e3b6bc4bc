#include "agent/transient_get_info.h"

#include "agent/testing/test_environment.h"
#include "platform/module_loader.h"
#include "platform/testing/scratch_home.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;

TEST(TransientGetInfoTest, AMissingLibraryCostsNoUseSoTheNextCallLoadsItOnceItIsBack) {
    platform_testing::ScratchHome home;
    home.Write("node/state.json", R"({"user": {"user_token": "T", "device_id": "D"}})");
    home.Write(
        "cloud/script.json",
        R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"email": "a@b.c"}}}}})");
    platform_testing::TempDir libraries;
    const std::wstring name = platform::SystemModuleName(cloud::kCloudClientModule);
    agent_testing::TestEnvironment test(platform::JoinPath(libraries.Path().wstring(), name));

    cv::StringW email(L"before");
    EXPECT_FALSE(TransientGetInfo(test.environment, email, cv::StringW(L"A")));
    EXPECT_STREQ(email.GetString(), L"before");
    EXPECT_EQ(test.cloudClient.UseCount(), 0) << "no use was taken, so none is given back";
    EXPECT_THAT(test.log.Texts(), Contains(L"4|GetInfo|error query nexilo/user_info [-1]"));

    std::filesystem::copy_file(platform_testing::TestBinFolder() / name, libraries.Path() / name);
    EXPECT_TRUE(TransientGetInfo(test.environment, email, cv::StringW(L"A")));
    EXPECT_STREQ(email.GetString(), L"a@b.c");
    EXPECT_EQ(test.cloudClient.UseCount(), 0);
    EXPECT_EQ(test.cloudClient.Table(), nullptr) << "unloaded with the last use";
}

} // namespace
