// An in-process host for the agent's tests: host interface, component manager with counted gets,
// a settings plugin kept in memory, and a product info plugin fed from a table.
#pragma once

#include "nexilo/hk_settings.h"
#include "nexilo/host_interfaces.h"
#include "platform/error_codes.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace agent_testing {

class FakeSettingsNode final : public IHKSettingsNode {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    bool GetString(const wchar_t* key, cv::StringW& out, std::uint32_t) override {
        auto found = strings.find(key);
        return found != strings.end() && (out = found->second.c_str(), true);
    }
    bool GetInt(const wchar_t* key, std::int32_t& out, std::uint32_t) override {
        return Read(ints, key, out);
    }
    bool GetInt64(const wchar_t* key, std::int64_t& out, std::uint32_t) override {
        return Read(int64s, key, out);
    }
    bool GetBool(const wchar_t* key, bool& out, std::uint32_t) override {
        return Read(bools, key, out);
    }
    bool SetString(const wchar_t* key, const wchar_t* value) override {
        strings[key] = value;
        return true;
    }
    bool SetInt(const wchar_t* key, std::int32_t value) override {
        return (ints[key] = value, true);
    }
    bool SetInt64(const wchar_t* key, std::int64_t value) override {
        return (int64s[key] = value, true);
    }
    bool SetBool(const wchar_t* key, bool value) override { return (bools[key] = value, true); }
    void Release() override { ++releases; }

    std::map<std::wstring, std::wstring> strings;
    std::map<std::wstring, std::int32_t> ints;
    std::map<std::wstring, std::int64_t> int64s;
    std::map<std::wstring, bool> bools;
    int releases = 0;

private:
    template <class T>
    static bool Read(const std::map<std::wstring, T>& values, const wchar_t* key, T& out) {
        auto found = values.find(key);
        return found != values.end() && (out = found->second, true);
    }
};

class FakeSettings final : public IHKSettings {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    IHKSettingsNode* GetNode(const wchar_t* path) override {
        ++gets;
        return &nodes[path];
    }
    std::map<std::wstring, FakeSettingsNode> nodes;
    int gets = 0;
};

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
