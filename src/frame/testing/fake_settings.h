// The host's settings plugin kept in memory, for tests: typed maps per node, counted node gets
// and releases, and a switch that makes every node missing. Not thread-safe, as the plugin it
// stands for.
#pragma once

#include "nexilo/hk_settings.h"

#include <cstdint>
#include <map>
#include <string>

namespace frame_testing {

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
        if (withoutNodes) {
            return nullptr;
        }
        ++gets;
        return &nodes[path];
    }
    // True when every node got was given back.
    bool Balanced() const {
        int releases = 0;
        for (const auto& [path, node] : nodes) {
            releases += node.releases;
        }
        return releases == gets;
    }

    std::map<std::wstring, FakeSettingsNode> nodes;
    int gets = 0;
    bool withoutNodes = false; // GetNode answers null
};

} // namespace frame_testing
