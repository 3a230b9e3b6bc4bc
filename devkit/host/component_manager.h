// The host's component manager: hands out its plugins by name and interface identifier, and
// counts what each name was given and given back.
//
// Contract:
// - GetPlugin(name, iid, out) writes the plugin's interface to *out and returns 0, or writes null
//   and returns an error: 87 for a null name, 1168 (ERROR_NOT_FOUND) for a name the host doesn't
//   offer, 50 (ERROR_NOT_SUPPORTED) for a plugin that doesn't offer `iid`. A null `out` gives 87
//   and writes nothing.
// - ReleasePlugin(name) gives back one get: 0; 87 for a null name; 1168 when nothing is held
//   under that name (counted as an extra release, nothing else happens).
// - Every name asked for is counted, offered or not: gets, refused gets, releases, extra
//   releases. Balanced() tells whether every get was given back.
// - Plugins are not owned and must outlive the manager's use. Any thread may call.
#pragma once

#include "nexilo/host_interfaces.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace devkit::host {

class ComponentManager final : public IComponentManager {
public:
    struct Count {
        std::wstring name;
        std::uint64_t gets = 0;
        std::uint64_t refused = 0;
        std::uint64_t releases = 0;
        std::uint64_t extraReleases = 0;
    };

    ComponentManager() = default;
    ComponentManager(const ComponentManager&) = delete;
    ComponentManager& operator=(const ComponentManager&) = delete;

    // Offers `plugin` under `name`, replacing an earlier offer of that name.
    void Offer(const std::wstring& name, ICvBaseInterface* plugin);

    void* QueryInterface(CvIid iid) override;
    std::uint32_t GetPlugin(const wchar_t* name, CvIid iid, void** plugin) override;
    std::uint32_t ReleasePlugin(const wchar_t* name) override;

    // The counts of `name` (all zero when it was never asked for).
    Count CountOf(const std::wstring& name) const;
    // The counts of every name asked for, by name.
    std::vector<Count> Counts() const;
    // True when every get was released once and nothing more.
    bool Balanced() const;

private:
    mutable std::mutex m_mutex;
    std::map<std::wstring, ICvBaseInterface*> m_plugins;
    std::map<std::wstring, Count> m_counts;
};

// The host interface handed to a plug-in's Init: it gives out the component manager.
class ServHost final : public IServHost {
public:
    explicit ServHost(IComponentManager& manager) : m_manager(manager) {}

    void* QueryInterface(CvIid iid) override;
    IComponentManager* GetComponentManager() override { return &m_manager; }

private:
    IComponentManager& m_manager;
};

} // namespace devkit::host
