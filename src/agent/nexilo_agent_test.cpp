#include "agent/nexilo_agent.h"

#include "agent/testing/agent_peer.h"
#include "agent/testing/fake_host.h"
#include "agent/testing/test_environment.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace {

using agent_testing::FakeEvsink;
using agent_testing::FakeHost;
using agent_testing::FakeProductInfo;
using agent_testing::FakeSettings;
using agent_testing::NexiloAgentPeer;
using testing::Contains;
using testing::HasSubstr;

class AgentTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_test.registry.Error(), 0u);
        m_host.manager.settings = &m_settings;
    }

    // The requests the cloud library recorded, one JSON object a line.
    std::string Requests() const { return m_home.Read("cloud/requests.jsonl"); }

    platform_testing::ScratchHome m_home;
    agent_testing::TestEnvironment m_test;
    const AgentEnvironment& m_env = m_test.environment;
    FakeSettings m_settings;
    FakeHost m_host;
};

TEST_F(AgentTest, BeforeInitTheObjectKeepsTheContractsOfItsInterfaces) {
    NexiloAgent agent(m_env);
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
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(NexiloAgentPeer::ProductVersion(agent).GetString(), L"0.0.0.0");
    EXPECT_STREQ(NexiloAgentPeer::AppId(agent).GetString(), L"com.corvane.basicshield");
    const std::wstring os = NexiloAgentPeer::OsVersion(agent).GetString();
    EXPECT_TRUE(std::regex_match(os, std::wregex(L"[0-9]+\\.[0-9]+\\.[0-9]+"))) << os;
    EXPECT_EQ(m_test.cloudClient.UseCount(), 1);
    agent.UnInit();
    EXPECT_EQ(m_test.cloudClient.UseCount(), 0);
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
    NexiloAgent agent(m_env);
    const cv::StringW defaultValue1 = NexiloAgentPeer::ProductValue(agent, 1);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(NexiloAgentPeer::AppId(agent).GetString(), L"com.example.app");
    EXPECT_STREQ(NexiloAgentPeer::ProductValue(agent, 3).GetString(), L"third");
    EXPECT_STREQ(NexiloAgentPeer::ProductVersion(agent).GetString(), L"5.6.7.8");
    EXPECT_EQ(NexiloAgentPeer::ProductValue(agent, 1), defaultValue1);
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
            ASSERT_EQ(m_test.registry.Get().SetKeyValue(platform::RegistryRoot::kLocalMachine,
                                                        NexiloAgent::kInstallKey, L"DisplayVersion",
                                                        c.type, bytes.data(),
                                                        static_cast<std::uint32_t>(bytes.size())),
                      0u);
        }
        NexiloAgent agent(m_env);
        ASSERT_EQ(agent.Init(&m_host), 0u);
        EXPECT_STREQ(NexiloAgentPeer::InstalledVersion(agent).GetString(), c.expected);
        agent.UnInit();
    }
}

TEST_F(AgentTest, AskHandsBackTheReplyOrTheTransportsCodeAndLeavesTheResultOtherwise) {
    m_home.Write("cloud/script.json", R"({"services": {"nexilo/user_info": {
        "getInfo": {"result": {"email": "a@b.c", "verified": true}},
        "fail": {"error": {"code": 7}},
        "down": {"transport_error": 12029},
        "silent": {"no_reply": true}}}})");
    const struct {
        const wchar_t* method;
        std::uint32_t code;
        bool isError;
        const wchar_t* result; // null: the caller's result stays as it was
    } cases[] = {
        {L"getInfo", 0, false, LR"({ "email" : "a@b.c", "verified" : true })"},
        {L"fail", 0, true, LR"({ "code" : 7 })"},
        {L"down", 12029, false, nullptr},
        {L"silent", 0xFFFFFFFF, false, nullptr},
    };
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.method);
        cv::Value result(L"untouched");
        bool isError = !c.isError;
        EXPECT_EQ(
            agent.Ask(L"nexilo/user_info", c.method, cv::Value(), result, &isError, cv::Value()),
            c.code);
        EXPECT_EQ(isError, c.isError);
        EXPECT_STREQ(result.ToString().GetString(), c.result ? c.result : L"untouched");
    }
    agent.UnInit();
}

TEST_F(AgentTest, AskWrapsTheParamsInTheEnvelopeOfTheSession) {
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    cv::Value params;
    params[L"lang"] = L"en";
    cv::Value result;
    bool isError = true;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(agent.Ask(L"nexilo/user_info", L"getInfo", params, result, &isError, cv::Value()),
                  0u);
    }
    agent.UnInit();
    const std::string recorded = Requests();
    EXPECT_THAT(recorded, HasSubstr(R"("service":"nexilo/user_info","limit":5000,"kind":1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"id\": 1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"id\": 2)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"lang\": \"en\")"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"app_id\": \"com.corvane.basicshield\")"));
}

// Init reads the identity before it builds the cloud session, which keeps the identity it was
// built with.
TEST_F(AgentTest, ASignedInUsersFirstRequestCarriesTheIdentityInitRead) {
    m_home.Write("node/state.json", R"({"user": {"user_token": "T1", "device_id": "D1"}})");
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    cv::Value result;
    bool isError = true;
    EXPECT_EQ(
        agent.Ask(L"nexilo/user_info", L"getInfo", cv::Value(), result, &isError, cv::Value()), 0u);
    agent.UnInit();
    EXPECT_THAT(Requests(), HasSubstr(R"(\"nexilo_source\": {\"user_token\": \"T1\", )"
                                      R"(\"app_id\": \"com.corvane.basicshield\", )"
                                      R"(\"device_id\": \"D1\"})"));
}

TEST_F(AgentTest, TheIdentityComesFromTheNodeServiceAndIsEmptiedWhenItIsGone) {
    m_home.Write("node/state.json", R"({"user": {"user_token": "T1", "device_id": "D1"}})");
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    EXPECT_STREQ(NexiloAgentPeer::UserToken(agent).GetString(), L"T1");
    EXPECT_STREQ(NexiloAgentPeer::DeviceId(agent).GetString(), L"D1");

    std::filesystem::remove(m_home.Path() / "node" / "state.json");
    EXPECT_FALSE(NexiloAgentPeer::GetProductNodeData(agent));
    EXPECT_STREQ(NexiloAgentPeer::UserToken(agent).GetString(), L"");
    EXPECT_STREQ(NexiloAgentPeer::DeviceId(agent).GetString(), L"");
    agent.UnInit();
}

TEST_F(AgentTest, TheCloudLibrarysLinesAreLoggedWithoutTheirLastLineFeed) {
    NexiloAgent agent(m_env);
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"[Cloudcomm][Log::LogInfo][23] failed with code 5\n",
         L"[Cloudcomm][Log::LogInfo][23] failed with code 5"},
        {L"first\nsecond", L"first"},
        {L"whole", L"whole"},
    };
    for (const auto& [text, logged] : cases) {
        m_test.log.Clear();
        NexiloAgentPeer::NxpLogCallback(agent, text);
        EXPECT_EQ(m_test.log.Texts(),
                  (std::vector<std::wstring>{std::wstring(L"16|NexiloAgent::NxpLogCallback|"
                                                          L"NxpLogCallback: ") +
                                             logged}));
    }
}

TEST_F(AgentTest, AFailedStartLeavesTheLibraryUnloadableForTheProcess) {
    NexiloAgent first(m_env);
    NexiloAgent second(m_env);
    EXPECT_EQ(first.Init(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(m_test.cloudClient.UseCount(), -1);
    EXPECT_EQ(second.Init(&m_host), 0xFFFFFFFFu);
    EXPECT_FALSE(second.InitNxp());
    EXPECT_THAT(m_test.log.Texts(),
                Contains(L"4|NexiloAgent::InitNxp|error on nexilo comm lib init"));
}

TEST_F(AgentTest, EachInitNxpTakesAUseButUnInitDropsOne) {
    NexiloAgent agent(m_env);
    ASSERT_EQ(agent.Init(&m_host), 0u);
    ASSERT_TRUE(agent.InitNxp());
    EXPECT_EQ(m_test.cloudClient.UseCount(), 2);
    agent.UnInit();
    EXPECT_EQ(m_test.cloudClient.UseCount(), 1);
    EXPECT_NE(m_test.cloudClient.Table(), nullptr) << "loaded until the process ends";
    m_test.cloudClient.Release();
}

TEST_F(AgentTest, ASessionThatCannotStartFailsInitButKeepsTheCountBalanced) {
    m_home.Write("cloud/script.json", R"({"init": {"code": 3, "handle": false}})");
    NexiloAgent agent(m_env);
    EXPECT_EQ(agent.Init(&m_host), 0xFFFFFFFFu);
    EXPECT_EQ(m_test.cloudClient.UseCount(), 0);
    EXPECT_TRUE(m_host.manager.Balanced());
    EXPECT_THAT(m_test.log.Texts(), Contains(L"4|NexiloAgent::InitNxp|error on nexilo comm init"));
}

} // namespace
