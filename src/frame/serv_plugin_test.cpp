#include "diag/testing/held_log.h"
#include "frame/serv_plugin.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using diag_testing::HeldLog;
using diag_testing::Tail;

// The host's component manager with its two plugins, answering `m_result` when it is not 0.
class FakeManager final : public IComponentManager,
                          public IHKSettings,
                          public IDeviceDetectionEvents {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    IHKSettingsNode* GetNode(const wchar_t*) override { return nullptr; }
    std::uint32_t SetUserData(const wchar_t*, const wchar_t*, const wchar_t*) override { return 0; }
    std::uint32_t GetPlugin(const wchar_t* name, CvIid iid, void** plugin) override {
        m_gets.push_back(name);
        if (m_result == 0) {
            *plugin = iid == kIidHKSettings ? static_cast<void*>(static_cast<IHKSettings*>(this))
                                            : static_cast<IDeviceDetectionEvents*>(this);
        }
        return m_result;
    }
    std::uint32_t ReleasePlugin(const wchar_t* name) override {
        m_releases.push_back(name);
        return 0;
    }

    std::uint32_t m_result = 0;
    std::vector<std::wstring> m_gets;
    std::vector<std::wstring> m_releases;
};

TEST(ServPluginTest, GivesBackOncePerGetAndLogsWhyAGetFailed) {
    HeldLog log;
    FakeManager manager;
    ServPlugin<IHKSettings> settings(L"HKSettings");
    EXPECT_EQ(settings.GetPlugin(&manager), static_cast<IHKSettings*>(&manager));
    EXPECT_EQ(settings.Manager(), &manager);
    EXPECT_NE(settings.GetPlugin(&manager), nullptr) << "gives back the first";
    EXPECT_EQ(settings.GetPlugin(nullptr), nullptr) << "gives back the second";
    EXPECT_EQ(settings.Manager(), nullptr);
    settings.Release();
    EXPECT_EQ(manager.m_gets, (std::vector<std::wstring>{L"HKSettings", L"HKSettings"}));
    EXPECT_EQ(manager.m_releases, manager.m_gets);

    manager.m_result = 5;
    ServPlugin<IDeviceDetectionEvents> evsink(L"evsink");
    EXPECT_EQ(evsink.GetPlugin(&manager), nullptr);
    evsink.Release();
    EXPECT_EQ(manager.m_releases.size(), 2u) << "nothing to give back";

    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(" ERROR "), std::string::npos);
    EXPECT_EQ(Tail(lines[0]), "ServPlugin<struct IHKSettings>::GetPlugin: Null component manager");
    EXPECT_NE(lines[1].find(" WARN "), std::string::npos);
    EXPECT_EQ(Tail(lines[1]),
              "ServPlugin<struct IDeviceDetectionEvents>::GetPlugin: Error 5 getting plugin "
              "\"evsink\"");
}

} // namespace
