// The settings plugin over its durable store: typed reads, missing keys, durability, atomic
// replacement, broken files and node counting.
#include "devkit/host/hk_settings_plugin.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/settings_store.h"
#include "nexilo/host_interfaces.h"
#include "platform/testing/scratch_home.h"

#include <gtest/gtest.h>

#include <memory>

namespace devkit::host {
namespace {

class SettingsTest : public testing::Test {
protected:
    std::filesystem::path File() const { return m_home.Path() / kFile; }

    // A store and plugin over the file, opened fresh.
    void Open() {
        m_plugin.reset();
        m_store = std::make_unique<SettingsStore>();
        std::string error;
        ASSERT_TRUE(m_store->Open(File(), error)) << error;
        m_plugin = std::make_unique<HKSettingsPlugin>(
            *m_store, [this](const std::string& message) { m_reports.push_back(message); });
    }

    static constexpr const char* kFile = "host/settings.json";
    platform_testing::ScratchHome m_home;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<HKSettingsPlugin> m_plugin;
    std::vector<std::string> m_reports;
};

TEST_F(SettingsTest, StoresEveryTypeDurablyAndReadsEachOnlyAsItsOwnType) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_NE(node, nullptr);
    EXPECT_TRUE(node->SetString(L"email", L"s\u00f6meone@example.com"));
    EXPECT_TRUE(node->SetInt(L"width", -738));
    EXPECT_TRUE(node->SetInt64(L"lastPingTime", 0x7FFFFFFFFFFFFFF0));
    EXPECT_TRUE(node->SetBool(L"state", true));
    EXPECT_FALSE(node->SetString(L"email", nullptr));
    EXPECT_FALSE(node->SetInt(nullptr, 1));
    node->Release();

    Open();
    node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_NE(node, nullptr);
    cv::StringW text;
    std::int32_t int32 = 0;
    std::int64_t int64 = 0;
    bool flag = false;
    EXPECT_TRUE(node->GetString(L"email", text, 0) && text == L"s\u00f6meone@example.com");
    EXPECT_TRUE(node->GetInt(L"width", int32, 0) && int32 == -738);
    EXPECT_TRUE(node->GetInt64(L"lastPingTime", int64, 0) && int64 == 0x7FFFFFFFFFFFFFF0);
    EXPECT_TRUE(node->GetBool(L"state", flag, 0) && flag);

    // Missing keys and other types leave the output alone; int32 is not widened.
    EXPECT_FALSE(node->GetString(L"width", text, 0));
    EXPECT_FALSE(node->GetInt(L"email", int32, 0));
    EXPECT_FALSE(node->GetInt64(L"width", int64, 0));
    EXPECT_FALSE(node->GetBool(L"width", flag, 0));
    EXPECT_FALSE(node->GetInt(L"absent", int32, 0));
    EXPECT_FALSE(node->GetInt(nullptr, int32, 0));
    EXPECT_TRUE(text == L"s\u00f6meone@example.com" && int32 == -738 && flag);
    EXPECT_EQ(int64, 0x7FFFFFFFFFFFFFF0);
    // A write of another type replaces the type.
    EXPECT_TRUE(node->SetBool(L"width", false));
    EXPECT_FALSE(node->GetInt(L"width", int32, 0));
    EXPECT_TRUE(node->GetBool(L"width", flag, 0) && !flag);
    node->Release();
    EXPECT_TRUE(m_reports.empty());
}

TEST_F(SettingsTest, NodesAreApartNeedAPathAndCountTheirReleases) {
    Open();
    EXPECT_EQ(m_plugin->GetNode(nullptr), nullptr);
    EXPECT_EQ(m_plugin->GetNode(L""), nullptr);
    EXPECT_EQ(m_plugin->GetNode(L"Nexilo"), nullptr);
    IHKSettingsNode* first = m_plugin->GetNode(L"/A");
    IHKSettingsNode* second = m_plugin->GetNode(L"/B");
    ASSERT_TRUE(first && second);
    ASSERT_EQ(m_plugin->GetNode(L"/A"), first);
    ASSERT_TRUE(first->SetInt(L"key", 1));
    std::int32_t value = 0;
    EXPECT_FALSE(second->GetInt(L"key", value, 0));
    EXPECT_EQ(first->QueryInterface(kIidCvBaseInterface), static_cast<ICvBaseInterface*>(first));
    EXPECT_EQ(m_plugin->QueryInterface(kIidHKSettings), static_cast<IHKSettings*>(m_plugin.get()));
    for (int i = 0; i < 3; ++i) {
        first->Release();
    }
    const auto counts = m_plugin->Counts();
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0].path, L"/A");
    EXPECT_EQ(counts[0].gets, 2u);
    EXPECT_EQ(counts[0].releases, 2u);
    EXPECT_EQ(counts[0].extraReleases, 1u);
    second->Release();
}

TEST_F(SettingsTest, AFailedSaveKeepsTheOldFileAndTheOldValue) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_TRUE(node->SetString(L"email", L"old@example.com"));
    const std::string before = m_home.Read(kFile);
    EXPECT_FALSE(std::filesystem::exists(File().string() + ".tmp"));

    // The temporary file's place is taken, so the new content can't be written.
    std::filesystem::create_directory(File().string() + ".tmp");
    EXPECT_FALSE(node->SetString(L"email", L"new@example.com"));
    ASSERT_EQ(m_reports.size(), 1u);
    EXPECT_NE(m_reports[0].find("email"), std::string::npos) << m_reports[0];
    EXPECT_NE(m_reports[0].find("settings.json.tmp"), std::string::npos) << m_reports[0];
    EXPECT_EQ(m_home.Read(kFile), before);
    cv::StringW email;
    EXPECT_TRUE(node->GetString(L"email", email, 0) && email == L"old@example.com");

    std::filesystem::remove(File().string() + ".tmp");
    EXPECT_TRUE(node->SetString(L"email", L"new@example.com"));
    node->Release();
    Open();
    EXPECT_EQ(m_store->Get(L"/Nexilo", L"email"), SettingValue(std::wstring(L"new@example.com")));
}

TEST_F(SettingsTest, ReadsTheFileFormAPersonWrites) {
    m_home.Write(kFile, R"({"/Ipm": {"state": {"bool": false}, "width": {"int32": 738}},
                  "/Nexilo": {"lastPingTime": {"int64": 1700000000}, "email": {"string": "a@b"}},
                  "/Empty": {}})");
    Open();
    EXPECT_EQ(m_store->Get(L"/Ipm", L"width"), SettingValue(std::int32_t{738}));
    EXPECT_EQ(m_store->Get(L"/Ipm", L"state"), SettingValue(false));
    EXPECT_EQ(m_store->Get(L"/Nexilo", L"lastPingTime"), SettingValue(std::int64_t{1700000000}));
    EXPECT_EQ(m_store->Get(L"/Nexilo", L"email"), SettingValue(std::wstring(L"a@b")));
}

struct BrokenFile {
    const char* name;
    const char* text;
    const char* problem; // a part of the message
};

class BrokenSettingsTest : public SettingsTest, public testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenSettingsTest, IsRefusedWithItsPlaceAndLeftAsItIs) {
    m_home.Write(kFile, GetParam().text);
    SettingsStore store;
    std::string error;
    EXPECT_FALSE(store.Open(File(), error));
    EXPECT_FALSE(store.IsOpen());
    EXPECT_NE(error.find(PathText(File())), std::string::npos) << error;
    EXPECT_NE(error.find(GetParam().problem), std::string::npos) << error;
    EXPECT_FALSE(store.Set(L"/Nexilo", L"email", std::wstring(L"x"), error));
    EXPECT_EQ(m_home.Read(kFile), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Files, BrokenSettingsTest,
    testing::Values(
        BrokenFile{"NoJson", "{\"/Nexilo\": {\n  \"email\": }", "line 2, column"},
        BrokenFile{"Array", "[]", "JSON object of nodes"},
        BrokenFile{"NodePath", R"({"Nexilo": {}})", "no node path"},
        BrokenFile{"NodeShape", R"({"/Nexilo": 5})", "node \"/Nexilo\" must be"},
        BrokenFile{"TwoTypes", R"({"/N": {"k": {"int32": 1, "bool": true}}})", "key \"k\""},
        BrokenFile{"UnknownType", R"({"/N": {"k": {"double": 1.5}}})", "unknown type \"double\""},
        BrokenFile{"Int32Range", R"({"/N": {"k": {"int32": 2147483648}}})", "int32"},
        BrokenFile{"Int64Real", R"({"/N": {"k": {"int64": 1.5}}})", "int64"},
        BrokenFile{"StringType", R"({"/N": {"k": {"string": 5}}})", "JSON string"},
        BrokenFile{"Duplicate", R"({"/N": {}, "/N": {}})", "duplicate"}),
    [](const testing::TestParamInfo<BrokenFile>& info) { return std::string(info.param.name); });

} // namespace
} // namespace devkit::host
