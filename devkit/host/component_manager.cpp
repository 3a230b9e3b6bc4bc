#include "devkit/host/component_manager.h"

#include "platform/error_codes.h"

namespace devkit::host {

void ComponentManager::Offer(const std::wstring& name, ICvBaseInterface* plugin) {
    std::lock_guard lock(m_mutex);
    m_plugins[name] = plugin;
}

void* ComponentManager::QueryInterface(CvIid iid) {
    return iid == kIidCvBaseInterface ? static_cast<ICvBaseInterface*>(this) : nullptr;
}

std::uint32_t ComponentManager::GetPlugin(const wchar_t* name, CvIid iid, void** plugin) {
    if (plugin == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    *plugin = nullptr;
    if (name == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_mutex);
    Count& count = m_counts[name];
    count.name = name;
    auto offered = m_plugins.find(name);
    if (offered == m_plugins.end() || offered->second == nullptr) {
        ++count.refused;
        return platform::kErrorNotFound;
    }
    void* found = offered->second->QueryInterface(iid);
    if (found == nullptr) {
        ++count.refused;
        return platform::kErrorNotSupported;
    }
    ++count.gets;
    *plugin = found;
    return platform::kErrorSuccess;
}

std::uint32_t ComponentManager::ReleasePlugin(const wchar_t* name) {
    if (name == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_mutex);
    Count& count = m_counts[name];
    count.name = name;
    if (count.releases >= count.gets) {
        ++count.extraReleases;
        return platform::kErrorNotFound;
    }
    ++count.releases;
    return platform::kErrorSuccess;
}

ComponentManager::Count ComponentManager::CountOf(const std::wstring& name) const {
    std::lock_guard lock(m_mutex);
    auto found = m_counts.find(name);
    if (found == m_counts.end()) {
        Count none;
        none.name = name;
        return none;
    }
    return found->second;
}

std::vector<ComponentManager::Count> ComponentManager::Counts() const {
    std::lock_guard lock(m_mutex);
    std::vector<Count> counts;
    for (const auto& [name, count] : m_counts) {
        counts.push_back(count);
    }
    return counts;
}

bool ComponentManager::Balanced() const {
    std::lock_guard lock(m_mutex);
    for (const auto& [name, count] : m_counts) {
        if (count.gets != count.releases || count.extraReleases != 0) {
            return false;
        }
    }
    return true;
}

void* ServHost::QueryInterface(CvIid iid) {
    return iid == kIidCvBaseInterface ? static_cast<ICvBaseInterface*>(this) : nullptr;
}

} // namespace devkit::host
