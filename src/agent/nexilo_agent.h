// NexiloAgent: the one object the module offers ("Nexilo.NexiloAgent"). The host creates it,
// calls Init with its host interface, uses it through INexiloAgent from any of its threads, calls
// UnInit and destroys it. The module's flat exports also make a transient one on the stack and
// use InitNxp and Ask without Init (agent/transient_get_info.h). Every agent reaches the system
// through the environment it is made with (agent/agent_environment.h).
//
// Contract:
// - Two tables: IServPlugin (with ICvBaseInterface) first, INexiloAgent second. QueryInterface
//   answers ICvBaseInterface and IServPlugin with the object and INexiloAgent with its second base.
// - Init returns 0 or 0xFFFFFFFF (kFailureWithoutCode); any failure runs UnInit before returning.
// Init may run again
//   after UnInit. UnInit stops everything in a fixed order, so that nothing uses the cloud session
//   after it is deleted, and drops one use of the shared cloud library whatever Init did: a
//   failed start leaves that count at -1 and the library cannot be loaded again in the process.
// - m_lock (recursive) serialises the identity, the cached details and every cloud call: Ask holds
//   it across the blocking round trip.
// - The listener thread (started last by Init, joined first by UnInit) waits on the node
//   service's user-changed event, refreshes the identity and fires "nexilo_user_changed" to the
//   subscribers with m_lock held, on its own thread. A subscriber may call back into the agent
//   from OnEvent (the lock is recursive), but one that blocks there holds up every Ask and the
//   next wake-up; it must not register or unregister from inside OnEvent.
// - Operations whose features have not joined yet answer 120 (ERROR_CALL_NOT_IMPLEMENTED).
//   Null out-pointers get 87 and change nothing.
#pragma once

#include "agent/agent_environment.h"
#include "cloud/cloud_comm.h"
#include "frame/easy_eq.h"
#include "frame/event.h"
#include "frame/serv_plugin.h"
#include "ipm/ipm.h"
#include "nexilo/host_interfaces.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace agent_testing {
class NexiloAgentPeer;
}

class NexiloAgent : public IServPlugin, public cv::hostkit::Nexilo::INexiloAgent, private IIpmHost {
public:
    using IEvents = cv::hostkit::Nexilo::INexiloAgent::IEvents;

    static constexpr const wchar_t* kDefaultAppId = L"com.corvane.basicshield";
    static constexpr const wchar_t* kDefaultVersion = L"0.0.0.0";
    static constexpr const wchar_t* kInstallKey =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{7C2E91A4-3B6D-4F08-A1D5-92E04C7B16F3}";

    explicit NexiloAgent(const AgentEnvironment& environment);
    virtual ~NexiloAgent();
    NexiloAgent(const NexiloAgent&) = delete;
    NexiloAgent& operator=(const NexiloAgent&) = delete;

    // ICvBaseInterface and IServPlugin
    void* QueryInterface(CvIid iid) override;
    std::uint32_t Init(IServHost* host) override;
    void UnInit() override;
    std::uint32_t ReservedSlot3() override { return 0; }
    void ReservedSlot4() override {}

    // INexiloAgent
    std::uint32_t RegisterEvents(IEvents* events) override;
    std::uint32_t UnregisterEvents(IEvents* events) override;
    std::uint32_t Ask(const wchar_t* service, const wchar_t* method, const cv::Value& params,
                      cv::Value& result, bool* isError, const cv::Value& destination) override;
    std::uint32_t Login() override;
    std::uint32_t Logout() override;
    std::uint32_t SwitchAccount() override;
    std::uint32_t GetUserDetails(cv::Value* out) override;
    std::uint32_t GetLanguage(cv::StringW& language) override;
    std::uint32_t SetLanguage(cv::ByValue<cv::StringW> language) override;
    std::uint32_t SetIpmState(bool state) override;
    std::uint32_t GetIpmState(bool* state) override;
    std::uint32_t GetCurrentCampaign(cv::Value* out) override;
    std::uint32_t UpdateCurrentCampaign(cv::ByValue<cv::Value> campaign) override;
    std::uint32_t SendCommand(const cv::Value& request, std::uint32_t reserved) override;

    // Brings up the cloud library and the cloud session from the identity; true when ready.
    // Callable without Init.
    bool InitNxp();
    // Deletes the cloud session and gives back exactly the uses of the cloud library that this
    // object's InitNxp took: how a transient agent ends.
    void ReleaseCloudSession();

private:
    friend class agent_testing::NexiloAgentPeer;

    using EventSignature = MemberFunction_2_args<IEvents, void, const wchar_t*, const cv::Value&>;
    using Events = Event<EventSignature, &IEvents::OnEvent>;

    IHKSettings* IpmSettings() override { return m_settings.Plugin(); }
    logging::LogSink* IpmLog() override { return m_env.log; }
    void IpmFire(const wchar_t* name, const cv::Value& data) override { m_events.Fire(name, data); }
    cv::Json IpmIdentitySource() override { return _IdentitySource(); }
    nxp::CloudClientLoader IpmPushLoader() override { return m_env.pushLoader; }
    // The identity triple as a cloud source document: user_token, app_id, device_id.
    cv::Json _IdentitySource() const;

    // The listener: its start, its thread body, and what it does at each wake-up.
    void _InitUserChangedListener();
    void _UserChangedListener();
    void _NotifyUserChanged();
    void _GetDetailedUserInfoFromCloud();
    void _FillUserDataInEvsink();
    // The body of the hourly ping timer.
    void _CheckSendPing();

    // Hands the cloud library's own log lines to the agent's log.
    void NxpLogCallback(const std::wstring& text) const;
    // Refreshes the identity from the node service; on failure the identity is emptied.
    bool _GetProductNodeData();
    IComponentManager* _ComponentManager() const;
    void _ReadProductInfo(IComponentManager* manager);
    void _GetInstalledProductVersion();
    static cv::StringW _GetOsVersion();

    const AgentEnvironment& m_env;

    ServPlugin<IDeviceDetectionEvents> m_evsink{kEvsinkPluginName};
    cv::Value m_userDetails;
    std::atomic<bool> m_userDetailsValid{false};
    mutable std::recursive_mutex m_lock;
    std::atomic<bool> m_stop{false};
    ServPlugin<IHKSettings> m_settings{kHKSettingsPluginName};
    SynchronyzedObjectContainer<IEvents*> m_subscribers;
    Events m_events{&m_subscribers};
    IServHost* m_host = nullptr;
    std::unique_ptr<nxp::CloudComm> m_nxpComm;
    cv::StringW m_appId;
    cv::StringW m_userToken;
    cv::StringW m_deviceId;
    cv::StringW m_productValue1;
    cv::StringW m_productValue2;
    cv::StringW m_productValue3;
    cv::StringW m_productVersion;
    cv::StringW m_installedVersion;
    cv::StringW m_osVersion;
    EasyEQ m_queue;
    std::int64_t m_lastPingTime = 0;
    std::thread m_listenerThread;
    std::unique_ptr<platform::NamedEvent> m_userChangedEvent;
    Ipm m_ipm{this};
    // Uses of the cloud library that InitNxp took and no UnInit gave back.
    int m_cloudUses = 0;
};
