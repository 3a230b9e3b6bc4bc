// The whole request as a host makes it: the module loaded by name, the agent made by its factory
// name, Init with the host's plugins, one Ask through the cloud library, UnInit, destruction.
#include "agent/testing/fake_host.h"
#include "nexilo/exports.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/named_event.h"
#include "platform/testing/scratch_home.h"
#include "process/user_changed_event.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

using cv::hostkit::Nexilo::INexiloAgent;

class AgentModuleTest : public testing::Test {
protected:
    void SetUp() override {
        // The agent's stop wakes its listener through the global event: an agent of another
        // test run on the same name could take that wake. One name for the process, as the
        // module takes it once.
        static const std::wstring space =
            L"module-tests-" +
            std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count());
        platform::WriteEnvironmentVariable(process::kEventNamespaceVariable, space.c_str());
        m_home.Write(
            "cloud/script.json",
            R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"name": "Ada"}}}}})");
        m_module = platform::LoadModule(L"NexiloAgent.dll").module;
        ASSERT_TRUE(m_module);
        m_create = reinterpret_cast<CvCreateObjectFn>(
            platform::FindExport(m_module.get(), kCvCreateObjectName).address);
        m_destroy = reinterpret_cast<CvDestroyObjectFn>(
            platform::FindExport(m_module.get(), kCvDestroyObjectName).address);
        ASSERT_NE(m_create, nullptr);
        ASSERT_NE(m_destroy, nullptr);
        m_host.manager.settings = &m_settings;
    }
    void TearDown() override { platform::DiscardNamedEvent(process::UserChangedEventName()); }

    platform_testing::ScratchHome m_home;
    platform::UniqueHModule m_module;
    CvCreateObjectFn m_create = nullptr;
    CvDestroyObjectFn m_destroy = nullptr;
    agent_testing::FakeSettings m_settings;
    agent_testing::FakeHost m_host;
};

TEST_F(AgentModuleTest, AHostMakesOneCloudCallThroughTheAgent) {
    void* made = nullptr;
    ASSERT_EQ(m_create(kNexiloAgentObjectName, kIidCvBaseInterface, &made), 0u);
    auto* base = static_cast<ICvBaseInterface*>(made);
    auto* plugin = static_cast<IServPlugin*>(base->QueryInterface(kIidServPlugin));
    auto* agent = static_cast<INexiloAgent*>(base->QueryInterface(kIidNexiloAgent));
    ASSERT_NE(plugin, nullptr);
    ASSERT_NE(agent, nullptr);

    ASSERT_EQ(plugin->Init(&m_host), 0u);
    {
        cv::Value params;
        params[L"nexilo_source"] = L"replaced";
        cv::Value result;
        bool isError = true;
        EXPECT_EQ(
            agent->Ask(L"nexilo/user_info", L"getInfo", params, result, &isError, cv::Value()), 0u);
        EXPECT_FALSE(isError);
        EXPECT_STREQ(result.At(L"name").AsString().GetString(), L"Ada");
    }
    plugin->UnInit();
    m_destroy(kNexiloAgentObjectName, base);
    EXPECT_TRUE(m_host.manager.Balanced());
}

TEST_F(AgentModuleTest, AnIdentifierTheAgentDoesNotOfferIsRefused) {
    void* made = reinterpret_cast<void*>(1);
    EXPECT_EQ(m_create(kNexiloAgentObjectName, kIidProductInfo, &made), 1168u);
    EXPECT_EQ(made, nullptr);
}

} // namespace
