// ServPlugin<I>: a typed handle on one plugin of the host, got from its component manager by name
// and given back by name.
//
// Contract: the handle remembers the plugin name from construction, holds at most one interface
// and doesn't count: one GetPlugin is answered by one Release. GetPlugin first gives back what it
// holds, then asks the manager; it returns the interface, or null on failure (a null manager is
// logged at error level, a refused request at warning level with the manager's number). The
// handle never releases by itself: the owner calls Release, in its UnInit and its destructor. The
// interface is read directly (Plugin()) with a null check at each use. Not synchronised: the
// owner serialises its calls.
#pragma once

#include "diag/log.h"
#include "nexilo/cv_string.h"
#include "nexilo/hk_settings.h"
#include "nexilo/host_interfaces.h"

#include <cstdint>

// Per interface: its identifier, and the function name that its log lines carry (the text of the
// instantiated type).
template <class I>
struct ServPluginTraits;

template <>
struct ServPluginTraits<IHKSettings> {
    static constexpr CvIid kIid = kIidHKSettings;
    static constexpr const wchar_t* kGetPluginName = L"ServPlugin<struct IHKSettings>::GetPlugin";
};

template <>
struct ServPluginTraits<IDeviceDetectionEvents> {
    static constexpr CvIid kIid = kIidDeviceDetectionEvents;
    static constexpr const wchar_t* kGetPluginName =
        L"ServPlugin<struct IDeviceDetectionEvents>::GetPlugin";
};

template <class I>
class ServPlugin {
public:
    using Traits = ServPluginTraits<I>;

    explicit ServPlugin(const wchar_t* name) : m_name(name) {}
    ServPlugin(const ServPlugin&) = delete;
    ServPlugin& operator=(const ServPlugin&) = delete;

    I* GetPlugin(IComponentManager* manager) {
        const logging::FunctionLog log(Traits::kGetPluginName);
        Release();
        if (manager == nullptr) {
            NX_LOG_ERROR(log, L"Null component manager");
            return m_plugin;
        }
        void* plugin = nullptr;
        std::uint32_t result = manager->GetPlugin(m_name.GetString(), Traits::kIid, &plugin);
        m_plugin = static_cast<I*>(plugin);
        if (result != 0) {
            NX_LOG_WARNING(log, L"Error %d getting plugin \"%s\"",
                           static_cast<std::int32_t>(result), m_name.GetString());
            return m_plugin;
        }
        m_manager = manager;
        return m_plugin;
    }

    void Release() {
        if (m_plugin != nullptr) {
            if (m_manager != nullptr) {
                m_manager->ReleasePlugin(m_name.GetString());
            }
            m_manager = nullptr;
            m_plugin = nullptr;
        }
    }

    I* Plugin() const noexcept { return m_plugin; }
    IComponentManager* Manager() const noexcept { return m_manager; }
    const cv::StringW& Name() const noexcept { return m_name; }

private:
    IComponentManager* m_manager = nullptr;
    I* m_plugin = nullptr;
    cv::StringW m_name;
};
