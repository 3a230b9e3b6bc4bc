// An in-process host for the agent's tests: host interface, component manager with counted gets,
// the settings plugin kept in memory (frame/testing/fake_settings.h), and a product info plugin
// fed from a table.
#pragma once

#include "frame/testing/fake_settings.h"
#include "nexilo/host_interfaces.h"
#include "platform/error_codes.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace agent_testing {

using frame_testing::FakeSettings;
using frame_testing::FakeSettingsNode;

class FakeProductInfo final : public IProductInfo {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t ReservedSlot1() override { return 0; }
    std::uint32_t ReservedSlot2() override { return 0; }
    std::uint32_t ReservedSlot3() override { return 0; }
    std::uint32_t ReservedSlot4() override { return 0; }
    std::uint32_t ReservedSlot5() override { return 0; }
    const wchar_t* GetProductValue(std::int32_t index, const wchar_t* section) override {
        auto found = values.find({section, index});
        return found != values.end() ? found->second.c_str() : nullptr;
    }
    std::map<std::pair<std::wstring, std::int32_t>, std::wstring> values;
};

class FakeEvsink final : public IDeviceDetectionEvents {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t SetUserData(const wchar_t*, const wchar_t*, const wchar_t*) override { return 0; }
};

// Offers the plugins that are set (non-null) and counts gets and releases per name.
class FakeComponentManager final : public IComponentManager {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    std::uint32_t GetPlugin(const wchar_t* name, CvIid iid, void** plugin) override {
        *plugin = nullptr;
        const std::wstring key = name;
        void* found = nullptr;
        if (key == kHKSettingsPluginName && iid == kIidHKSettings) {
            found = settings;
        } else if (key == kProductInfoPluginName && iid == kIidProductInfo) {
            found = productInfo;
        } else if (key == kEvsinkPluginName && iid == kIidDeviceDetectionEvents) {
            found = evsink;
        }
        if (found == nullptr) {
            return platform::kErrorNotFound;
        }
        ++gets[key];
        *plugin = found;
        return 0;
    }
    std::uint32_t ReleasePlugin(const wchar_t* name) override {
        ++releases[name];
        return 0;
    }
    // True when every plugin got was given back.
    bool Balanced() const { return gets == releases; }

    IHKSettings* settings = nullptr;
    IProductInfo* productInfo = nullptr;
    IDeviceDetectionEvents* evsink = nullptr;
    std::map<std::wstring, int> gets;
    std::map<std::wstring, int> releases;
};

class FakeHost final : public IServHost {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return &manager; }
    FakeComponentManager manager;
};

} // namespace agent_testing
