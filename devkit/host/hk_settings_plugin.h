// The host's settings plugin "HKSettings": IHKSettings and its nodes over a SettingsStore.
//
// Contract:
// - GetNode(path) opens the node, making it when it is missing, so a fresh installation can store
//   its first values; a null path, or one that doesn't start with '/', gives null. Each path has
//   one node object for the plugin's life; every GetNode counts one get on it and every Release
//   one release. A Release beyond the gets is counted as such and does nothing else, so a
//   plug-in's mistake shows in the counts instead of crashing the host.
// - A node reads a value only as the type it was stored with (GetInt on a string is false);
//   false leaves `out` as it was. Writes save at once (see SettingsStore); a failed save returns
//   false, keeps the old value and tells `reporter`. A null key or text is refused with false.
// - GetString assigns to the caller's string, which must have been made by the caller's module
//   (see cv_string.h): its block grows through the string's own memory manager.
// - The plugin and its nodes live as long as the object; the store must outlive it. Any thread
//   may call; the store serialises.
#pragma once

#include "devkit/host/settings_store.h"
#include "nexilo/hk_settings.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace devkit::host {

class HKSettingsPlugin final : public IHKSettings {
public:
    using Reporter = std::function<void(const std::string& message)>;

    struct NodeCount {
        std::wstring path;
        std::uint64_t gets = 0;
        std::uint64_t releases = 0;
        std::uint64_t extraReleases = 0; // releases when nothing was held
    };

    HKSettingsPlugin(SettingsStore& store, Reporter reporter);
    ~HKSettingsPlugin();
    HKSettingsPlugin(const HKSettingsPlugin&) = delete;
    HKSettingsPlugin& operator=(const HKSettingsPlugin&) = delete;

    void* QueryInterface(CvIid iid) override;
    IHKSettingsNode* GetNode(const wchar_t* path) override;

    // The counts of every node handed out, by path.
    std::vector<NodeCount> Counts() const;

private:
    class Node;

    void Report(const std::string& message) const;

    SettingsStore& m_store;
    Reporter m_reporter;
    mutable std::mutex m_mutex;
    std::map<std::wstring, std::unique_ptr<Node>> m_nodes;
};

} // namespace devkit::host
