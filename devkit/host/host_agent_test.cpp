// The reference host driving the real agent module: Init with the host's plugins, Ask through the
// dev kit's cloud library, UnInit, destruction, every plugin given back.
#include "devkit/common/devkit_home.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/host_run.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace devkit::host {
namespace {

class HostAgentTest : public testing::Test {
protected:
    void SetUp() override {
        // The cloud library and the node tool read their state from the dev kit home; the
        // registry stays inside the test's folder on POSIX.
        ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME",
                                                       WidePath(m_home.Path()).c_str()));
        ASSERT_TRUE(platform::WriteEnvironmentVariable(
            L"NEXILO_REGISTRY_ROOT", WidePath(m_home.Path() / "registry").c_str()));
        m_setup.home = m_home.Path();
        m_setup.defaultModule =
            WidePath(platform::testing::TestBinFolder() /
                     PathFromWide(platform::SystemModuleName(L"NexiloAgent.dll")));
    }
    void TearDown() override {
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr);
        platform::WriteEnvironmentVariable(L"NEXILO_REGISTRY_ROOT", nullptr);
    }

    void Write(const std::filesystem::path& file, const std::string& text) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    platform::testing::TempDir m_home;
    HostSetup m_setup;
};

TEST_F(HostAgentTest, AsksTheCloudThroughTheStartedAgent) {
    Write(m_home.Path() / "cloud" / "script.json",
          R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"email": "a@b.example"}}},
                           "nexilo/ping": {"ping": {"error": {"code": 5, "message": "later"}}}}})");
    Write(ProductInfoFile(m_home.Path()), R"({"update": {"0": "1.4.2.7"}})");

    std::ostringstream out;
    std::ostringstream err;
    Console console(out, err);
    const int code = RunHost({"ask", "nexilo/user_info", "getInfo", R"({"fields": ["email"]})",
                              "ask", "nexilo/ping", "ping", "{}"},
                             console, m_setup);
    EXPECT_EQ(code, kExitOk) << err.str();
    const std::string output = out.str();
    EXPECT_NE(output.find(R"({"step":"init","code":0})"), std::string::npos) << output;
    EXPECT_NE(output.find(R"({"command":"ask","service":"nexilo/user_info","method":"getInfo",)"
                          R"("code":0,"isError":false,"reply":{"email":"a@b.example"}})"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find(R"({"command":"ask","service":"nexilo/ping","method":"ping","code":0,)"
                          R"("isError":true,"reply":{"code":5,"message":"later"}})"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find(R"({"step":"uninit"})"), std::string::npos) << output;
    // Every plugin and settings node the agent took was given back.
    EXPECT_EQ(err.str().find("warning"), std::string::npos) << err.str();

    std::string requests;
    ASSERT_TRUE(ReadWholeFile(m_home.Path() / "cloud" / "requests.jsonl", requests));
    EXPECT_NE(requests.find("nexilo/user_info"), std::string::npos) << requests;
    EXPECT_NE(requests.find("fields"), std::string::npos) << requests;
}

} // namespace
} // namespace devkit::host
