// The product info plugin: values from its file, held texts, broken files.
#include "devkit/host/product_info_plugin.h"
#include "nexilo/hk_settings.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <fstream>

namespace devkit::host {
namespace {

class ProductInfoTest : public testing::Test {
protected:
    std::filesystem::path Write(const std::string& text) {
        std::filesystem::path file = m_dir.Path() / "productinfo.json";
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }

    platform_testing::TempDir m_dir;
    ProductInfoPlugin m_plugin;
};

TEST_F(ProductInfoTest, GivesTheFilesTextsBySectionAndIndex) {
    std::string error;
    ASSERT_TRUE(m_plugin.Load(Write(R"({"nexilo": {"0": "com.example.app", "3": "",
                                                    "2147483647": "last"},
                                        "other": {"1": "gr\u00fc\u00df"}})"),
                              error))
        << error;
    const wchar_t* appId = m_plugin.GetProductValue(0, L"nexilo");
    ASSERT_NE(appId, nullptr);
    EXPECT_STREQ(appId, L"com.example.app");
    EXPECT_EQ(m_plugin.GetProductValue(0, L"nexilo"), appId) << "its own text, every time";
    EXPECT_STREQ(m_plugin.GetProductValue(3, L"nexilo"), L"");
    EXPECT_STREQ(m_plugin.GetProductValue(2147483647, L"nexilo"), L"last");
    EXPECT_STREQ(m_plugin.GetProductValue(1, L"other"), L"gr\u00fc\u00df");
    EXPECT_EQ(m_plugin.GetProductValue(1, L"nexilo"), nullptr);
    EXPECT_EQ(m_plugin.GetProductValue(0, L"Nexilo"), nullptr);
    EXPECT_EQ(m_plugin.GetProductValue(-1, L"nexilo"), nullptr);
    EXPECT_EQ(m_plugin.GetProductValue(0, nullptr), nullptr);
    EXPECT_EQ(m_plugin.QueryInterface(kIidProductInfo), static_cast<IProductInfo*>(&m_plugin));
    EXPECT_EQ(m_plugin.QueryInterface(kIidHKSettings), nullptr);
}

TEST_F(ProductInfoTest, AMissingFileGivesNoValues) {
    std::string error;
    EXPECT_TRUE(m_plugin.Load(m_dir.Path() / "absent.json", error));
    EXPECT_EQ(m_plugin.ValueCount(), 0u);
}

TEST_F(ProductInfoTest, RefusesBrokenFilesAndKeepsNoHalfOfThem) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"nexilo": {"0": "a"})", "no valid JSON"},
        {R"(["a"])", "object of sections"},
        {R"({"nexilo": ["a"]})", "section \"nexilo\" must be"},
        {R"({"nexilo": {"0": "a", "x": "b"}})", "\"x\" is no index"},
        {R"({"nexilo": {"-1": "a"}})", "\"-1\" is no index"},
        {R"({"nexilo": {"2147483648": "a"}})", "is no index"},
        {R"({"nexilo": {"0": 5}})", "must be a string"},
    };
    for (const auto& [text, problem] : cases) {
        std::string error;
        EXPECT_FALSE(m_plugin.Load(Write(text), error)) << text;
        EXPECT_NE(error.find(problem), std::string::npos) << error;
        EXPECT_NE(error.find("productinfo.json"), std::string::npos) << error;
        EXPECT_EQ(m_plugin.ValueCount(), 0u) << text;
    }
}

} // namespace
} // namespace devkit::host
