// The settings plugin over its durable store: typed reads, missing keys, durability, atomic
// replacement, broken files and node counting.
#include "devkit/common/devkit_home.h"
#include "devkit/host/hk_settings_plugin.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/settings_store.h"
#include "nexilo/host_interfaces.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>

namespace devkit::host {
namespace {

class SettingsTest : public testing::Test {
protected:
    std::filesystem::path File() const { return m_dir.Path() / "host" / "settings.json"; }

    // A store and plugin over the file, opened fresh.
    void Open() {
        m_plugin.reset();
        m_store = std::make_unique<SettingsStore>();
        std::string error;
        ASSERT_TRUE(m_store->Open(File(), error)) << error;
        m_plugin = std::make_unique<HKSettingsPlugin>(
            *m_store, [this](const std::string& message) { m_reports.push_back(message); });
    }

    void WriteFile(const std::string& text) {
        std::filesystem::create_directories(File().parent_path());
        std::ofstream(File(), std::ios::binary) << text;
    }

    std::string ReadFile() const {
        std::string text;
        ReadWholeFile(File(), text);
        return text;
    }

    platform::testing::TempDir m_dir;
    std::unique_ptr<SettingsStore> m_store;
    std::unique_ptr<HKSettingsPlugin> m_plugin;
    std::vector<std::string> m_reports;
};

TEST_F(SettingsTest, FreshInstallMakesTheNodeAndStoresEveryTypeDurably) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_NE(node, nullptr);
    EXPECT_TRUE(node->SetString(L"email", L"s\u00f6meone@example.com"));
    EXPECT_TRUE(node->SetInt(L"width", -738));
    EXPECT_TRUE(node->SetInt64(L"lastPingTime", 0x7FFFFFFFFFFFFFF0));
    EXPECT_TRUE(node->SetBool(L"state", true));
    node->Release();

    Open();
    node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_NE(node, nullptr);
    cv::StringW email;
    std::int32_t width = 0;
    std::int64_t lastPing = 0;
    bool state = false;
    EXPECT_TRUE(node->GetString(L"email", email, 0));
    EXPECT_TRUE(node->GetInt(L"width", width, 0));
    EXPECT_TRUE(node->GetInt64(L"lastPingTime", lastPing, 0));
    EXPECT_TRUE(node->GetBool(L"state", state, 0));
    node->Release();
    EXPECT_EQ(email, L"s\u00f6meone@example.com");
    EXPECT_EQ(width, -738);
    EXPECT_EQ(lastPing, 0x7FFFFFFFFFFFFFF0);
    EXPECT_TRUE(state);
    EXPECT_TRUE(m_reports.empty());
}

TEST_F(SettingsTest, MissingKeysAndOtherTypesLeaveTheOutputAlone) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Ipm");
    ASSERT_NE(node, nullptr);
    ASSERT_TRUE(node->SetString(L"url", L"https://example.com"));
    ASSERT_TRUE(node->SetInt(L"width", 5));

    cv::StringW text(L"before");
    std::int32_t int32 = 17;
    std::int64_t int64 = 18;
    bool flag = true;
    EXPECT_FALSE(node->GetString(L"width", text, 0));
    EXPECT_FALSE(node->GetInt(L"url", int32, 0));
    EXPECT_FALSE(node->GetInt64(L"width", int64, 0)); // stored as int32: no widening
    EXPECT_FALSE(node->GetBool(L"width", flag, 0));
    EXPECT_FALSE(node->GetInt(L"absent", int32, 0));
    EXPECT_FALSE(node->GetInt(nullptr, int32, 0));
    EXPECT_EQ(text, L"before");
    EXPECT_EQ(int32, 17);
    EXPECT_EQ(int64, 18);
    EXPECT_TRUE(flag);

    // A write of another type replaces the type.
    EXPECT_TRUE(node->SetBool(L"width", false));
    EXPECT_FALSE(node->GetInt(L"width", int32, 0));
    EXPECT_TRUE(node->GetBool(L"width", flag, 0));
    EXPECT_FALSE(flag);

    EXPECT_FALSE(node->SetString(L"url", nullptr));
    EXPECT_FALSE(node->SetInt(nullptr, 1));
    EXPECT_TRUE(node->GetString(L"url", text, 0));
    EXPECT_EQ(text, L"https://example.com");
    node->Release();
}

TEST_F(SettingsTest, NodesAreApartAndNeedAPath) {
    Open();
    EXPECT_EQ(m_plugin->GetNode(nullptr), nullptr);
    EXPECT_EQ(m_plugin->GetNode(L""), nullptr);
    EXPECT_EQ(m_plugin->GetNode(L"Nexilo"), nullptr);
    IHKSettingsNode* first = m_plugin->GetNode(L"/A");
    IHKSettingsNode* second = m_plugin->GetNode(L"/B");
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(first->SetInt(L"key", 1));
    std::int32_t value = 0;
    EXPECT_FALSE(second->GetInt(L"key", value, 0));
    EXPECT_EQ(first->QueryInterface(kIidCvBaseInterface), static_cast<ICvBaseInterface*>(first));
    first->Release();
    second->Release();
    EXPECT_EQ(m_plugin->QueryInterface(kIidHKSettings), static_cast<IHKSettings*>(m_plugin.get()));
    EXPECT_EQ(m_plugin->QueryInterface(kIidProductInfo), nullptr);
}

TEST_F(SettingsTest, CountsGetsReleasesAndReleasesBeyondThem) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_EQ(m_plugin->GetNode(L"/Nexilo"), node);
    node->Release();
    auto counts = m_plugin->Counts();
    ASSERT_EQ(counts.size(), 1u);
    EXPECT_EQ(counts[0].path, L"/Nexilo");
    EXPECT_EQ(counts[0].gets, 2u);
    EXPECT_EQ(counts[0].releases, 1u);
    node->Release();
    node->Release();
    counts = m_plugin->Counts();
    EXPECT_EQ(counts[0].releases, 2u);
    EXPECT_EQ(counts[0].extraReleases, 1u);
}

TEST_F(SettingsTest, AFailedSaveKeepsTheOldFileAndTheOldValue) {
    Open();
    IHKSettingsNode* node = m_plugin->GetNode(L"/Nexilo");
    ASSERT_TRUE(node->SetString(L"email", L"old@example.com"));
    const std::string before = ReadFile();
    EXPECT_FALSE(std::filesystem::exists(File().string() + ".tmp"));

    // The temporary file's place is taken, so the new content can't be written.
    std::filesystem::create_directory(File().string() + ".tmp");
    EXPECT_FALSE(node->SetString(L"email", L"new@example.com"));
    ASSERT_EQ(m_reports.size(), 1u);
    EXPECT_NE(m_reports[0].find("email"), std::string::npos) << m_reports[0];
    EXPECT_NE(m_reports[0].find("settings.json.tmp"), std::string::npos) << m_reports[0];
    EXPECT_EQ(ReadFile(), before);
    cv::StringW email;
    EXPECT_TRUE(node->GetString(L"email", email, 0));
    EXPECT_EQ(email, L"old@example.com");

    std::filesystem::remove(File().string() + ".tmp");
    EXPECT_TRUE(node->SetString(L"email", L"new@example.com"));
    node->Release();
    Open();
    node = m_plugin->GetNode(L"/Nexilo");
    EXPECT_TRUE(node->GetString(L"email", email, 0));
    EXPECT_EQ(email, L"new@example.com");
    node->Release();
}

TEST_F(SettingsTest, ReadsTheFileFormAPersonWrites) {
    WriteFile(R"({"/Ipm": {"state": {"bool": false}, "width": {"int32": 738}},
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
    WriteFile(GetParam().text);
    SettingsStore store;
    std::string error;
    EXPECT_FALSE(store.Open(File(), error));
    EXPECT_FALSE(store.IsOpen());
    EXPECT_NE(error.find(PathText(File())), std::string::npos) << error;
    EXPECT_NE(error.find(GetParam().problem), std::string::npos) << error;
    EXPECT_FALSE(store.Set(L"/Nexilo", L"email", std::wstring(L"x"), error));
    EXPECT_EQ(ReadFile(), GetParam().text);
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
