#include "devkit/host/hk_settings_plugin.h"

#include "platform/utf8.h"

#include <type_traits>
#include <utility>

namespace devkit::host {

class HKSettingsPlugin::Node final : public IHKSettingsNode {
public:
    Node(HKSettingsPlugin& owner, std::wstring path) : m_owner(owner), m_path(std::move(path)) {}

    void* QueryInterface(CvIid iid) override {
        return iid == kIidCvBaseInterface ? static_cast<ICvBaseInterface*>(this) : nullptr;
    }

    bool GetString(const wchar_t* key, cv::StringW& out, std::uint32_t) override {
        const std::wstring* text = nullptr;
        std::optional<SettingValue> value = Read(key);
        if (value) {
            text = std::get_if<std::wstring>(&*value);
        }
        return text != nullptr && out.Assign(text->c_str(), static_cast<cv::i32>(text->size()));
    }
    bool GetInt(const wchar_t* key, std::int32_t& out, std::uint32_t) override {
        return ReadAs(key, out);
    }
    bool GetInt64(const wchar_t* key, std::int64_t& out, std::uint32_t) override {
        return ReadAs(key, out);
    }
    bool GetBool(const wchar_t* key, bool& out, std::uint32_t) override { return ReadAs(key, out); }

    bool SetString(const wchar_t* key, const wchar_t* value) override {
        return value != nullptr && Write(key, std::wstring(value));
    }
    bool SetInt(const wchar_t* key, std::int32_t value) override { return Write(key, value); }
    bool SetInt64(const wchar_t* key, std::int64_t value) override { return Write(key, value); }
    bool SetBool(const wchar_t* key, bool value) override { return Write(key, value); }

    void Release() override {
        std::lock_guard lock(m_owner.m_mutex);
        if (m_count.releases < m_count.gets) {
            ++m_count.releases;
        } else {
            ++m_count.extraReleases;
        }
    }

    // Under the owner's lock.
    NodeCount& Count() { return m_count; }

private:
    std::optional<SettingValue> Read(const wchar_t* key) const {
        if (key == nullptr) {
            return std::nullopt;
        }
        return m_owner.m_store.Get(m_path, key);
    }

    template <class T>
    bool ReadAs(const wchar_t* key, T& out) const {
        std::optional<SettingValue> value = Read(key);
        const T* typed = value ? std::get_if<T>(&*value) : nullptr;
        if (typed == nullptr) {
            return false;
        }
        out = *typed;
        return true;
    }

    bool Write(const wchar_t* key, SettingValue value) {
        if (key == nullptr) {
            return false;
        }
        std::string error;
        if (!m_owner.m_store.Set(m_path, key, std::move(value), error)) {
            m_owner.Report("settings: cannot store \"" + platform::WideToUtf8(key) +
                           "\" in node \"" + platform::WideToUtf8(m_path) + "\": " + error);
            return false;
        }
        return true;
    }

    HKSettingsPlugin& m_owner;
    const std::wstring m_path;
    NodeCount m_count;
};

HKSettingsPlugin::HKSettingsPlugin(SettingsStore& store, Reporter reporter)
    : m_store(store), m_reporter(std::move(reporter)) {}

HKSettingsPlugin::~HKSettingsPlugin() = default;

void* HKSettingsPlugin::QueryInterface(CvIid iid) {
    if (iid == kIidCvBaseInterface || iid == kIidHKSettings) {
        return static_cast<IHKSettings*>(this);
    }
    return nullptr;
}

IHKSettingsNode* HKSettingsPlugin::GetNode(const wchar_t* path) {
    if (path == nullptr) {
        return nullptr;
    }
    std::wstring nodePath(path);
    if (!m_store.EnsureNode(nodePath)) {
        return nullptr;
    }
    std::lock_guard lock(m_mutex);
    std::unique_ptr<Node>& node = m_nodes[nodePath];
    if (!node) {
        node = std::make_unique<Node>(*this, nodePath);
        node->Count().path = nodePath;
    }
    ++node->Count().gets;
    return node.get();
}

std::vector<HKSettingsPlugin::NodeCount> HKSettingsPlugin::Counts() const {
    std::lock_guard lock(m_mutex);
    std::vector<NodeCount> counts;
    for (const auto& [path, node] : m_nodes) {
        counts.push_back(node->Count());
    }
    return counts;
}

void HKSettingsPlugin::Report(const std::string& message) const {
    if (m_reporter) {
        m_reporter(message);
    }
}

} // namespace devkit::host
