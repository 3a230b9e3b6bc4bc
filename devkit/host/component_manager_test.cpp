// The component manager: what GetPlugin writes on failure and how gets and releases are counted.
#include "devkit/host/component_manager.h"
#include "devkit/host/event_sink_plugin.h"
#include "devkit/host/product_info_plugin.h"
#include "nexilo/hk_settings.h"
#include "platform/error_codes.h"

#include <gtest/gtest.h>

namespace devkit::host {
namespace {

class ComponentManagerTest : public testing::Test {
protected:
    ComponentManagerTest() : m_sink("unused.jsonl") {
        m_manager.Offer(kProductInfoPluginName, &m_info);
        m_manager.Offer(kEvsinkPluginName, &m_sink);
    }

    ProductInfoPlugin m_info;
    EventSinkPlugin m_sink;
    ComponentManager m_manager;
};

TEST_F(ComponentManagerTest, GivesTheAskedInterfaceAndCountsGetsAndReleasesPerName) {
    void* plugin = nullptr;
    ASSERT_EQ(m_manager.GetPlugin(L"productinfo", kIidProductInfo, &plugin), 0u);
    EXPECT_EQ(plugin, static_cast<IProductInfo*>(&m_info));
    ASSERT_EQ(m_manager.GetPlugin(L"productinfo", kIidProductInfo, &plugin), 0u);
    ASSERT_EQ(m_manager.GetPlugin(L"evsink", kIidDeviceDetectionEvents, &plugin), 0u);
    EXPECT_EQ(plugin, static_cast<IDeviceDetectionEvents*>(&m_sink));
    EXPECT_EQ(m_manager.ReleasePlugin(L"productinfo"), 0u);
    EXPECT_FALSE(m_manager.Balanced());

    const auto counts = m_manager.Counts();
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0].name, L"evsink");
    EXPECT_EQ(counts[0].gets, 1u);
    EXPECT_EQ(counts[0].releases, 0u);
    EXPECT_EQ(counts[1].gets, 2u);
    EXPECT_EQ(counts[1].releases, 1u);
    EXPECT_EQ(m_manager.ReleasePlugin(L"productinfo"), 0u);
    EXPECT_EQ(m_manager.ReleasePlugin(L"evsink"), 0u);
    EXPECT_TRUE(m_manager.Balanced());
}

TEST_F(ComponentManagerTest, WritesNullOnEveryFailureAndCountsTheRefusal) {
    const struct {
        const wchar_t* name;
        CvIid iid;
        std::uint32_t expected;
    } cases[] = {{L"HKSettings", kIidHKSettings, platform::kErrorNotFound},
                 {L"evsink", kIidProductInfo, platform::kErrorNotSupported},
                 {nullptr, kIidProductInfo, platform::kErrorInvalidParameter}};
    for (const auto& c : cases) {
        void* plugin = &plugin;
        EXPECT_EQ(m_manager.GetPlugin(c.name, c.iid, &plugin), c.expected);
        EXPECT_EQ(plugin, nullptr);
    }
    EXPECT_EQ(m_manager.GetPlugin(L"evsink", kIidDeviceDetectionEvents, nullptr),
              platform::kErrorInvalidParameter);
    EXPECT_EQ(m_manager.CountOf(L"HKSettings").refused, 1u);
    EXPECT_EQ(m_manager.CountOf(L"evsink").refused, 1u);
    EXPECT_EQ(m_manager.CountOf(L"evsink").gets, 0u);
    EXPECT_TRUE(m_manager.Balanced());
}

TEST_F(ComponentManagerTest, AReleaseWithoutAGetIsRefusedAndCounted) {
    EXPECT_EQ(m_manager.ReleasePlugin(L"evsink"), platform::kErrorNotFound);
    EXPECT_EQ(m_manager.ReleasePlugin(L"nosuch"), platform::kErrorNotFound);
    EXPECT_EQ(m_manager.ReleasePlugin(nullptr), platform::kErrorInvalidParameter);
    EXPECT_EQ(m_manager.CountOf(L"evsink").extraReleases, 1u);
    EXPECT_EQ(m_manager.CountOf(L"evsink").releases, 0u);
    EXPECT_FALSE(m_manager.Balanced());
}

} // namespace
} // namespace devkit::host
