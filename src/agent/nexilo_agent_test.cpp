#include "agent/nexilo_agent.h"

#include "agent/testing/fake_host.h"
#include "cloud/cloud_client_table.h"
#include "diag/log_binding.h"
#include "platform/environment.h"
#include "platform/registry_sandbox.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

namespace {

using agent_testing::FakeEvsink;
using agent_testing::FakeHost;
using agent_testing::FakeProductInfo;
using agent_testing::FakeSettings;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

class AgentTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME",
                                                       m_home.Path().wstring().c_str()));
        ASSERT_EQ(m_registry.Error(), 0u);
        NexiloAgent::SetRegistryForTesting(&m_registry.Get());
        m_host.manager.settings = &m_settings;
    }
    void TearDown() override {
        NexiloAgent::SetRegistryForTesting(nullptr);
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr);
    }

    // Writes a file in the dev kit home, where the cloud library and the node tool look.
    void Write(const std::filesystem::path& relative, const std::string& text) {
        std::filesystem::create_directories((m_home.Path() / relative).parent_path());
        std::ofstream(m_home.Path() / relative, std::ios::binary) << text;
    }
    static std::string Read(const std::filesystem::path& file) {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }

    platform::testing::TempDir m_home;
    platform::RegistrySandbox m_registry;
    FakeSettings m_settings;
    FakeHost m_host;
};

TEST_F(AgentTest, BeforeInitTheObjectKeepsTheContractsOfItsInterfaces) {
    NexiloAgent agent;
    auto* base = static_cast<ICvBaseInterface*>(agent.QueryInterface(kIidCvBaseInterface));
    EXPECT_EQ(base, static_cast<ICvBaseInterface*>(static_cast<IServPlugin*>(&agent)));
    EXPECT_EQ(agent.QueryInterface(kIidServPlugin), static_cast<IServPlugin*>(&agent));
    void* second = agent.QueryInterface(kIidNexiloAgent);
    EXPECT_EQ(second, static_cast<cv::hostkit::Nexilo::INexiloAgent*>(&agent));
    EXPECT_NE(second, static_cast<void*>(base)) << "the second base has its own table";
    EXPECT_EQ(agent.QueryInterface(kIidProductInfo), nullptr);

    struct Sink : cv::hostkit::Nexilo::INexiloAgent::IEvents {
        void OnEvent(const wchar_t*, const cv::Value&) override {}
    } sink;
    EXPECT_EQ(agent.RegisterEvents(&sink), 0u);
    EXPECT_EQ(agent.RegisterEvents(&sink), 1627u);
    EXPECT_EQ(agent.UnregisterEvents(&sink), 0u);
    EXPECT_EQ(agent.UnregisterEvents(&sink), 1627u);
    EXPECT_EQ(agent.RegisterEvents(nullptr), 87u);
    EXPECT_EQ(agent.GetUserDetails(nullptr), 87u);
    EXPECT_EQ(agent.GetIpmState(nullptr), 87u);
    EXPECT_EQ(agent.GetCurrentCampaign(nullptr), 87u);
    bool state = false;
    EXPECT_EQ(agent.GetIpmState(&state), 0u);
    EXPECT_TRUE(state);

    // Ask needs the cloud session that InitNxp opens.
    cv::Value result(L"untouched");
    bool isError = true;
    EXPECT_EQ(agent.Ask(L"nexilo/ping", L"ping", cv::Value(), result, &isError, cv::Value()),
              0xFFFFFFFFu);
    EXPECT_STREQ(result.ToString().GetString(), L"untouched");
    EXPECT_EQ(agent.Ask(L"nexilo/ping", L"ping", cv::Value(), result, nullptr, cv::Value()), 87u);
}

TEST_F(AgentTest, InitWithoutProductInfoOrEvsinkKeepsDefaultsAndGivesEverythingBack) {
    NexiloAgent agent;
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(agent.ProductVersion().GetString(), L"0.0.0.0");
    EXPECT_STREQ(agent.AppId().GetString(), L"com.corvane.basicshield");
    const std::wstring os = agent.OsVersion().GetString();
    EXPECT_TRUE(std::regex_match(os, std::wregex(L"[0-9]+\\.[0-9]+\\.[0-9]+"))) << os;
    EXPECT_EQ(cloud::ProcessCloudClientUseCount(), 1);
    agent.UnInit();
    EXPECT_EQ(cloud::ProcessCloudClientUseCount(), 0);
    EXPECT_TRUE(m_host.manager.Balanced());
    EXPECT_EQ(m_host.manager.gets[kHKSettingsPluginName], 1);
}

TEST_F(AgentTest, InitKeepsEachProductValueThatIsThere) {
    FakeProductInfo info;
    info.values = {{{L"nexilo", 0}, L"com.example.app"},
                   {{L"nexilo", 3}, L"third"},
                   {{L"update", 0}, L"5.6.7.8"}};
    FakeEvsink evsink;
    m_host.manager.productInfo = &info;
    m_host.manager.evsink = &evsink;
    NexiloAgent agent;
    const cv::StringW defaultValue1 = agent.ProductValue(1);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(agent.AppId().GetString(), L"com.example.app");
    EXPECT_STREQ(agent.ProductValue(3).GetString(), L"third");
    EXPECT_STREQ(agent.ProductVersion().GetString(), L"5.6.7.8");
    EXPECT_EQ(agent.ProductValue(1), defaultValue1);
    EXPECT_EQ(m_host.manager.releases[kProductInfoPluginName], 1) << "given back at once";
    agent.UnInit();
    EXPECT_TRUE(m_host.manager.Balanced());
}

TEST_F(AgentTest, InstalledVersionIsReadOnlyFromAShortTextValue) {
    const struct {
        std::uint32_t type; // 0: no value yet; each later one replaces the one before
        const wchar_t* text;
        const wchar_t* expected;
    } cases[] = {{0, L"", L"0.0.0.0"},
                 {platform::kRegSz, L"1.2.3.4", L"1.2.3.4"},
                 // 19 characters and the terminator: exactly 40 bytes.
                 {platform::kRegSz, L"1234567890.23456789", L"1234567890.23456789"},
                 {platform::kRegSz, L"1234567890.234567890", L"0.0.0.0"},
                 {platform::kRegExpandSz, L"1.2.3.4", L"0.0.0.0"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << " " << c.text);
        const auto bytes = platform::RegistryBytesFromText(c.text);
        if (c.type != 0) {
            ASSERT_EQ(m_registry.Get().SetKeyValue(platform::RegistryRoot::kLocalMachine,
                                                   NexiloAgent::kInstallKey, L"DisplayVersion",
                                                   c.type, bytes.data(),
                                                   static_cast<std::uint32_t>(bytes.size())),
                      0u);
        }
        NexiloAgent agent;
        ASSERT_EQ(agent.Init(&m_host), 0u);
        EXPECT_STREQ(agent.InstalledVersion().GetString(), c.expected);
        agent.UnInit();
    }
}

TEST_F(AgentTest, AskTravelsThroughTheCloudLibraryAndBack) {
    Write("cloud/script.json", R"({"services": {"nexilo/user_info": {
        "getInfo": {"result": {"email": "a@b.c", "verified": true}},
        "fail": {"error": {"code": 7}}}}})");
    NexiloAgent agent;
    ASSERT_EQ(agent.Init(&m_host), 0u);
    cv::Value params;
    params[L"lang"] = L"en";
    cv::Value result;
    bool isError = true;
    EXPECT_EQ(agent.Ask(L"nexilo/user_info", L"getInfo", params, result, &isError, cv::Value()),
              0u);
    EXPECT_FALSE(isError);
    EXPECT_STREQ(result.ToString().GetString(), LR"({ "email" : "a@b.c", "verified" : true })");
    EXPECT_EQ(agent.Ask(L"nexilo/user_info", L"fail", params, result, &isError, cv::Value()), 0u);
    EXPECT_TRUE(isError);
    agent.UnInit();

    const std::string recorded = Read(m_home.Path() / "cloud" / "requests.jsonl");
    EXPECT_THAT(recorded, HasSubstr(R"("service":"nexilo/user_info","limit":5000,"kind":1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"id\": 1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"id\": 2)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"lang\": \"en\")"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"app_id\": \"com.corvane.basicshield\")"));
}

TEST_F(AgentTest, TheIdentityComesFromTheNodeServiceAndIsEmptiedWhenItIsGone) {
    Write("node/state.json", R"({"user": {"user_token": "T1", "device_id": "D1"}})");
    NexiloAgent agent;
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(agent.UserToken().GetString(), L"T1");
    EXPECT_STREQ(agent.DeviceId().GetString(), L"D1");

    std::filesystem::remove(m_home.Path() / "node" / "state.json");
    EXPECT_FALSE(agent._GetProductNodeData());
    EXPECT_STREQ(agent.UserToken().GetString(), L"");
    EXPECT_STREQ(agent.DeviceId().GetString(), L"");
    agent.UnInit();
}

TEST_F(AgentTest, TheCloudLibrarysLinesAreLoggedWithoutTheirLastLineFeed) {
    const std::wstring file = m_home.File(L"agent.log");
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", file.c_str()));
    {
        logging::LogHandle logger;
        ASSERT_NE(logger.Acquire(), nullptr);
        NexiloAgent::NxpLogCallback(L"[Cloudcomm][Log::LogInfo][23] failed with code 5\n");
        NexiloAgent::NxpLogCallback(L"first\nsecond");
        NexiloAgent::NxpLogCallback(L"whole");
    }
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", nullptr);
    const std::string text = Read(m_home.Path() / "agent.log");
    EXPECT_THAT(text, HasSubstr("NexiloAgent::NxpLogCallback: NxpLogCallback: "
                                "[Cloudcomm][Log::LogInfo][23] failed with code 5\n"));
    EXPECT_THAT(text, HasSubstr("NxpLogCallback: first\n"));
    EXPECT_THAT(text, Not(AnyOf(HasSubstr("code 5\n\n"), HasSubstr("second"))));
    EXPECT_THAT(text, HasSubstr("NxpLogCallback: whole\n"));
}

// A failed start poisons the process-wide cloud library, so these scenarios run in child
// processes and report through their exit codes.
TEST_F(AgentTest, CountsTheCloudLibrarysUsesInAChildProcessEach) {
    const std::pair<const char*, std::function<bool()>> scenarios[] = {
        {"a failed start leaves the library unloadable for the process",
         [this] {
             NexiloAgent first;
             NexiloAgent second;
             return first.Init(nullptr) == 0xFFFFFFFF &&
                    cloud::ProcessCloudClientUseCount() == -1 &&
                    second.Init(&m_host) == 0xFFFFFFFF && !second.InitNxp();
         }},
        {"each InitNxp takes a use but UnInit drops one",
         [this] {
             NexiloAgent agent;
             bool ok = agent.Init(&m_host) == 0 && agent.InitNxp() &&
                       cloud::ProcessCloudClientUseCount() == 2;
             agent.UnInit();
             return ok && cloud::ProcessCloudClientUseCount() == 1 &&
                    cloud::ProcessCloudClient() != nullptr;
         }},
    };
    for (const auto& [name, run] : scenarios) {
        SCOPED_TRACE(name);
        EXPECT_EXIT(std::exit(run() ? 0 : 1), testing::ExitedWithCode(0), "");
    }
}

TEST_F(AgentTest, ASessionThatCannotStartFailsInitButKeepsTheCountBalanced) {
    Write("cloud/script.json", R"({"init": {"code": 3, "handle": false}})");
    NexiloAgent agent;
    EXPECT_EQ(agent.Init(&m_host), 0xFFFFFFFFu);
    EXPECT_EQ(cloud::ProcessCloudClientUseCount(), 0);
    EXPECT_TRUE(m_host.manager.Balanced());
}

} // namespace
