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

TEST_F(ComponentManagerTest, GivesTheAskedInterface) {
    void* plugin = nullptr;
    EXPECT_EQ(m_manager.GetPlugin(L"productinfo", kIidProductInfo, &plugin), 0u);
    EXPECT_EQ(plugin, static_cast<IProductInfo*>(&m_info));
    EXPECT_EQ(m_manager.GetPlugin(L"evsink", kIidDeviceDetectionEvents, &plugin), 0u);
    EXPECT_EQ(plugin, static_cast<IDeviceDetectionEvents*>(&m_sink));
}

TEST_F(ComponentManagerTest, WritesNullOnEveryFailure) {
    int garbage = 0;
    void* plugin = &garbage;
    EXPECT_EQ(m_manager.GetPlugin(L"HKSettings", kIidHKSettings, &plugin),
              platform::kErrorNotFound);
    EXPECT_EQ(plugin, nullptr);
    plugin = &garbage;
    EXPECT_EQ(m_manager.GetPlugin(L"evsink", kIidProductInfo, &plugin),
              platform::kErrorNotSupported);
    EXPECT_EQ(plugin, nullptr);
    plugin = &garbage;
    EXPECT_EQ(m_manager.GetPlugin(nullptr, kIidProductInfo, &plugin),
              platform::kErrorInvalidParameter);
    EXPECT_EQ(plugin, nullptr);
    EXPECT_EQ(m_manager.GetPlugin(L"evsink", kIidDeviceDetectionEvents, nullptr),
              platform::kErrorInvalidParameter);

    // Refusals are counted, and no get is.
    EXPECT_EQ(m_manager.CountOf(L"HKSettings").refused, 1u);
    EXPECT_EQ(m_manager.CountOf(L"evsink").refused, 1u);
    EXPECT_EQ(m_manager.CountOf(L"evsink").gets, 0u);
    EXPECT_TRUE(m_manager.Balanced());
}

TEST_F(ComponentManagerTest, CountsGetsAndReleasesPerName) {
    void* plugin = nullptr;
    ASSERT_EQ(m_manager.GetPlugin(L"productinfo", kIidProductInfo, &plugin), 0u);
    ASSERT_EQ(m_manager.GetPlugin(L"productinfo", kIidProductInfo, &plugin), 0u);
    ASSERT_EQ(m_manager.GetPlugin(L"evsink", kIidDeviceDetectionEvents, &plugin), 0u);
    EXPECT_EQ(m_manager.ReleasePlugin(L"productinfo"), 0u);
    EXPECT_FALSE(m_manager.Balanced());

    auto counts = m_manager.Counts();
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0].name, L"evsink");
    EXPECT_EQ(counts[0].gets, 1u);
    EXPECT_EQ(counts[0].releases, 0u);
    EXPECT_EQ(counts[1].name, L"productinfo");
    EXPECT_EQ(counts[1].gets, 2u);
    EXPECT_EQ(counts[1].releases, 1u);

    EXPECT_EQ(m_manager.ReleasePlugin(L"productinfo"), 0u);
    EXPECT_EQ(m_manager.ReleasePlugin(L"evsink"), 0u);
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

TEST_F(ComponentManagerTest, TheHostInterfaceGivesTheManager) {
    ServHost host(m_manager);
    EXPECT_EQ(host.GetComponentManager(), &m_manager);
    EXPECT_EQ(host.QueryInterface(kIidCvBaseInterface), static_cast<ICvBaseInterface*>(&host));
    EXPECT_EQ(m_manager.QueryInterface(kIidCvBaseInterface),
              static_cast<ICvBaseInterface*>(&m_manager));
    EXPECT_EQ(host.QueryInterface(kIidHKSettings), nullptr);
}

} // namespace
} // namespace devkit::host
