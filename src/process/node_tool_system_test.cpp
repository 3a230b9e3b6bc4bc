// The node tool client against the dev kit's nodectl, started for real.
#include "process/node_tool.h"

#include "platform/environment.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"
#include "platform/wine_detection.h"
#include "process/testing/recording_log_sink.h"

#include <gtest/gtest.h>

#include <fstream>

namespace process {
namespace {

class NodeToolSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME",
                                                       m_home.Path().wstring().c_str()));
    }
    void TearDown() override { platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr); }

    void WriteState(const std::string& json) {
        std::filesystem::create_directories(m_home.Path() / "node");
        std::ofstream(m_home.Path() / "node" / "state.json", std::ios::binary) << json;
    }

    platform::testing::TempDir m_home;
    testing::RecordingLogSink m_log;
    NodeToolClient m_client{OwnToolFolder(), platform::SystemProcessLauncher(), m_log};
};

TEST_F(NodeToolSystemTest, ReadsTheSignedInUserAndAnAgentField) {
    WriteState(R"({"user": {"user_token": "TOKEN", "device_id": "DEVICE"},
                   "agent_fields": {"globalex": {"anon_id": "anon 1"}}})");
    std::wstring device, token;
    EXPECT_TRUE(m_client.GetNexiloInfo(device, token));
    EXPECT_EQ(token, L"TOKEN");
    EXPECT_EQ(device, L"DEVICE");
    std::string value;
    EXPECT_TRUE(m_client.GetAgentField(L"globalex", L"anon_id", value));
    EXPECT_EQ(value, "anon 1");
    EXPECT_TRUE(m_log.lines.empty());
}

TEST_F(NodeToolSystemTest, RegistersAndRemovesAnApplication) {
    EXPECT_TRUE(m_client.AddApp(L"app-1", L"My App", 2, L"1.0"));
    EXPECT_TRUE(m_client.SetStatus(L"app-1", 0));
    EXPECT_TRUE(m_client.RemoveApp(L"app-1"));
    EXPECT_FALSE(m_client.RemoveApp(L"app-1")); // the tool's own error: no such application
    EXPECT_TRUE(m_log.lines.empty());
}

TEST_F(NodeToolSystemTest, NonZeroExitOfTheToolIsLoggedNotRead) {
    WriteState(R"({"scripted": {"shd_get_user": {"output": "T\nD\n", "exit_code": 3}}})");
    std::wstring device = L"old", token = L"old";
    EXPECT_FALSE(m_client.GetNexiloInfo(device, token));
    EXPECT_EQ(token, L"old");
    EXPECT_EQ(m_log.lines, std::vector<std::wstring>{L"16|GetNexiloInfo|exitCode not 0: [%d]||3"});
}

TEST_F(NodeToolSystemTest, FolderWithABlankBreaksOnlyTheUnquotedRoute) {
    WriteState(R"({"user": {"user_token": "TOKEN", "device_id": "DEVICE"}})");
    std::filesystem::path folder = m_home.Path() / "with blank";
    std::filesystem::create_directory(folder);
    std::filesystem::path tool = platform::testing::TestProgram("nodectl");
    std::filesystem::copy_file(tool, folder / tool.filename());
    std::filesystem::permissions(folder / tool.filename(), std::filesystem::perms::owner_exec,
                                 std::filesystem::perm_options::add);
    NodeToolClient client(ToolFolderFromModulePath((folder / "agent").wstring()),
                          platform::SystemProcessLauncher(), m_log);

    EXPECT_TRUE(client.AddApp(L"app-1", L"My App", 0, L"1.0"));
    std::wstring device, token;
    if (platform::RunningUnderWine()) {
        // Wine: CreateProcessW quotes the program path it found, so the tool gets its verb.
        EXPECT_TRUE(client.GetNexiloInfo(device, token));
    } else {
        // The tool finds "blank/nodectl.exe" where its verb should be.
        EXPECT_FALSE(client.GetNexiloInfo(device, token));
        EXPECT_EQ(m_log.lines,
                  std::vector<std::wstring>{L"16|GetNexiloInfo|exitCode not 0: [%d]||2"});
    }
}

} // namespace
} // namespace process
