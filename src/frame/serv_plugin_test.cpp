#include "diag/log_test_support.h"
#include "frame/serv_plugin.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using logging::testing::HeldLog;
using logging::testing::Tail;

class FakeSettings final : public IHKSettings {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    IHKSettingsNode* GetNode(const wchar_t*) override { return nullptr; }
};

class FakeEvsink final : public IDeviceDetectionEvents {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t SetUserData(const wchar_t*, const wchar_t*, const wchar_t*) override { return 0; }
};

class FakeManager final : public IComponentManager {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t GetPlugin(const wchar_t* name, CvIid iid, void** plugin) override {
        m_gets.push_back(name);
        if (m_result != 0) {
            return m_result;
        }
        if (iid == kIidHKSettings) {
            *plugin = static_cast<IHKSettings*>(&m_settings);
        } else if (iid == kIidDeviceDetectionEvents) {
            *plugin = static_cast<IDeviceDetectionEvents*>(&m_evsink);
        } else {
            return 1168;
        }
        return 0;
    }
    std::uint32_t ReleasePlugin(const wchar_t* name) override {
        m_releases.push_back(name);
        return 0;
    }

    std::uint32_t m_result = 0;
    FakeSettings m_settings;
    FakeEvsink m_evsink;
    std::vector<std::wstring> m_gets;
    std::vector<std::wstring> m_releases;
};

TEST(ServPluginTest, GetsByNameAndGivesBackOncePerGet) {
    FakeManager manager;
    ServPlugin<IHKSettings> settings(L"HKSettings");
    EXPECT_EQ(settings.GetPlugin(&manager), &manager.m_settings);
    EXPECT_EQ(settings.Manager(), &manager);
    settings.Release();
    settings.Release();
    EXPECT_EQ(settings.Plugin(), nullptr);
    EXPECT_EQ(manager.m_releases, std::vector<std::wstring>{L"HKSettings"});

    // The name survives a release: the same handle acquires again.
    EXPECT_EQ(settings.GetPlugin(&manager), &manager.m_settings);
    EXPECT_EQ(settings.GetPlugin(&manager), &manager.m_settings);
    EXPECT_EQ(manager.m_gets.size(), 3u);
    EXPECT_EQ(manager.m_releases.size(), 2u) << "a second get gives back the first";
    settings.Release();
}

TEST(ServPluginTest, ANullManagerReleasesWhatWasHeldAndLogsAnError) {
    HeldLog log;
    FakeManager manager;
    ServPlugin<IHKSettings> settings(L"HKSettings");
    ASSERT_NE(settings.GetPlugin(&manager), nullptr);
    EXPECT_EQ(settings.GetPlugin(nullptr), nullptr);
    EXPECT_EQ(manager.m_releases, std::vector<std::wstring>{L"HKSettings"});
    EXPECT_EQ(settings.Manager(), nullptr);
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(" ERROR "), std::string::npos);
    EXPECT_EQ(Tail(lines[0]), "ServPlugin<struct IHKSettings>::GetPlugin: Null component manager");
}

TEST(ServPluginTest, ARefusalReturnsNullAndLogsTheNumberAtWarningLevel) {
    HeldLog log;
    FakeManager manager;
    manager.m_result = 5;
    ServPlugin<IDeviceDetectionEvents> evsink(L"evsink");
    EXPECT_EQ(evsink.GetPlugin(&manager), nullptr);
    EXPECT_EQ(evsink.Manager(), nullptr);
    evsink.Release();
    EXPECT_TRUE(manager.m_releases.empty());
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(" WARN "), std::string::npos);
    EXPECT_EQ(Tail(lines[0]),
              "ServPlugin<struct IDeviceDetectionEvents>::GetPlugin: Error 5 getting plugin "
              "\"evsink\"");
}

} // namespace
