// A stand-in agent module for the host's tests: offers "Nexilo.NexiloAgent" with IServPlugin and
// INexiloAgent and behaves as its settings node "/Fake" and the services asked tell it.
//
// Init: needs a host and HKSettings (else -1). From node "/Fake" it reads int32 "initResult"
// (returned by Init when not 0), bool "keepPlugin" (HKSettings is then never given back), bool
// "keepNode" (the node is then never released); it counts its starts in int64 "starts", stores
// productinfo's value (0, "nexilo") as string "appId", hands the identity ("token", "device",
// appId) to evsink, and fires "fake_started" with {"starts": N}.
// Ask services: "fake/echo" answers the params; "fake/error" answers an error reply; "fake/fail"
// returns -1 and writes nothing; "fake/event" fires "fake_event" with the params; "fake/setting"
// reads {"node", "key", "type"} from the settings (type string, int32, int64 or bool) and
// answers the value, or null when the read is false. Anything else answers 1168.
// The environment variable NEXILO_FAKE_AGENT_REFUSE makes the factory refuse: "create" refuses
// the object, "agent" makes it offer no INexiloAgent; "identity" makes GetNexiloInfo false.
// Of the plain exports only GetNexiloInfo is offered: it gives user token "token" and device id
// "device", the identity the object hands to evsink.
#include "nexilo/exports.h"
#include "nexilo/flat_exports.h"
#include "nexilo/hk_settings.h"
#include "nexilo/host_interfaces.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"
#include "platform/environment.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using cv::hostkit::Nexilo::INexiloAgent;

constexpr std::uint32_t kFailed = 0xFFFFFFFF;

bool Refuses(const wchar_t* what) {
    auto refuse = platform::ReadEnvironmentVariable(L"NEXILO_FAKE_AGENT_REFUSE");
    return refuse && *refuse == what;
}

class FakeAgent final : public IServPlugin, public INexiloAgent {
public:
    void* QueryInterface(CvIid iid) override {
        if (iid == kIidCvBaseInterface || iid == kIidServPlugin) {
            return static_cast<IServPlugin*>(this);
        }
        if (iid == kIidNexiloAgent && !Refuses(L"agent")) {
            return static_cast<INexiloAgent*>(this);
        }
        return nullptr;
    }

    std::uint32_t Init(IServHost* host) override {
        m_manager = host ? host->GetComponentManager() : nullptr;
        if (m_manager == nullptr) {
            return kFailed;
        }
        void* settings = nullptr;
        if (m_manager->GetPlugin(kHKSettingsPluginName, kIidHKSettings, &settings) != 0) {
            return kFailed;
        }
        m_settings = static_cast<IHKSettings*>(settings);
        IHKSettingsNode* node = m_settings->GetNode(L"/Fake");
        if (node == nullptr) {
            ReleaseAll();
            return kFailed;
        }
        std::int32_t initResult = 0;
        std::int64_t starts = 0;
        bool keepNode = false;
        node->GetInt(L"initResult", initResult, 0);
        node->GetInt64(L"starts", starts, 0);
        node->GetBool(L"keepPlugin", m_keepPlugin, 0);
        node->GetBool(L"keepNode", keepNode, 0);
        node->SetInt64(L"starts", ++starts);

        std::wstring appId;
        void* info = nullptr;
        if (m_manager->GetPlugin(kProductInfoPluginName, kIidProductInfo, &info) == 0) {
            const wchar_t* value = static_cast<IProductInfo*>(info)->GetProductValue(0, L"nexilo");
            if (value != nullptr) {
                appId = value;
                node->SetString(L"appId", value);
            }
            m_manager->ReleasePlugin(kProductInfoPluginName);
        }
        if (!keepNode) {
            node->Release();
        }
        if (initResult != 0) {
            ReleaseAll();
            return static_cast<std::uint32_t>(initResult);
        }
        void* sink = nullptr;
        if (m_manager->GetPlugin(kEvsinkPluginName, kIidDeviceDetectionEvents, &sink) == 0) {
            m_evsink = static_cast<IDeviceDetectionEvents*>(sink);
            m_evsink->SetUserData(L"token", L"device", appId.c_str());
        }
        cv::Value data;
        data[L"starts"] = static_cast<double>(starts);
        Fire(L"fake_started", data);
        return 0;
    }

    void UnInit() override { ReleaseAll(); }
    std::uint32_t ReservedSlot3() override { return 0; }
    void ReservedSlot4() override {}

    std::uint32_t RegisterEvents(IEvents* events) override {
        std::lock_guard lock(m_mutex);
        if (std::find(m_subscribers.begin(), m_subscribers.end(), events) != m_subscribers.end()) {
            return 1627;
        }
        m_subscribers.push_back(events);
        return 0;
    }
    std::uint32_t UnregisterEvents(IEvents* events) override {
        std::lock_guard lock(m_mutex);
        auto found = std::find(m_subscribers.begin(), m_subscribers.end(), events);
        if (found == m_subscribers.end()) {
            return 1627;
        }
        m_subscribers.erase(found);
        return 0;
    }

    std::uint32_t Ask(const wchar_t* service, const wchar_t* method, const cv::Value& params,
                      cv::Value& result, bool* isError, const cv::Value&) override {
        const std::wstring name = service ? service : L"";
        if (method == nullptr || isError == nullptr) {
            return 87;
        }
        if (name == L"fake/echo") {
            result = params;
            *isError = false;
            return 0;
        }
        if (name == L"fake/error") {
            cv::Value error;
            error[L"code"] = 5;
            error[L"message"] = L"later";
            result = error;
            *isError = true;
            return 0;
        }
        if (name == L"fake/fail") {
            return kFailed;
        }
        if (name == L"fake/event") {
            Fire(L"fake_event", params);
            return 0;
        }
        if (name == L"fake/setting") {
            // No exception may leave the module: a malformed request is a bad parameter.
            try {
                result = ReadSetting(params);
            } catch (const cv::ValueException&) {
                return 87;
            }
            return 0;
        }
        return 1168;
    }

    std::uint32_t Login() override { return 120; }
    std::uint32_t Logout() override { return 120; }
    std::uint32_t SwitchAccount() override { return 120; }
    std::uint32_t GetUserDetails(cv::Value*) override { return 120; }
    std::uint32_t GetLanguage(cv::StringW&) override { return kFailed; }
    std::uint32_t SetLanguage(cv::StringW) override { return kFailed; }
    std::uint32_t SetIpmState(bool) override { return 0; }
    std::uint32_t GetIpmState(bool* state) override {
        *state = true;
        return 0;
    }
    std::uint32_t GetCurrentCampaign(cv::Value*) override { return 0; }
    std::uint32_t UpdateCurrentCampaign(cv::Value) override { return 0; }
    std::uint32_t SendCommand(const cv::Value&, std::uint32_t) override { return 0; }

private:
    void Fire(const wchar_t* name, const cv::Value& data) {
        std::lock_guard lock(m_mutex);
        for (IEvents* subscriber : m_subscribers) {
            subscriber->OnEvent(name, data);
        }
    }

    cv::Value ReadSetting(const cv::Value& params) {
        cv::Value value;
        if (m_settings == nullptr) {
            return value;
        }
        IHKSettingsNode* node = m_settings->GetNode(params.At(L"node").AsString().GetString());
        if (node == nullptr) {
            return value;
        }
        const wchar_t* key = params.At(L"key").AsString().GetString();
        const cv::StringW& type = params.At(L"type").AsString();
        if (type == L"string") {
            cv::StringW text(L"untouched");
            if (node->GetString(key, text, 0)) {
                value = text;
            }
        } else if (type == L"int32") {
            std::int32_t number = 0;
            if (node->GetInt(key, number, 0)) {
                value = static_cast<double>(number);
            }
        } else if (type == L"int64") {
            std::int64_t number = 0;
            if (node->GetInt64(key, number, 0)) {
                value = static_cast<double>(number);
            }
        } else if (type == L"bool") {
            bool flag = false;
            if (node->GetBool(key, flag, 0)) {
                value = flag;
            }
        }
        node->Release();
        return value;
    }

    void ReleaseAll() {
        if (m_manager == nullptr) {
            return;
        }
        if (m_settings != nullptr && !m_keepPlugin) {
            m_manager->ReleasePlugin(kHKSettingsPluginName);
        }
        if (m_evsink != nullptr) {
            m_manager->ReleasePlugin(kEvsinkPluginName);
        }
        m_settings = nullptr;
        m_evsink = nullptr;
    }

    std::mutex m_mutex;
    std::vector<IEvents*> m_subscribers;
    IComponentManager* m_manager = nullptr;
    IHKSettings* m_settings = nullptr;
    IDeviceDetectionEvents* m_evsink = nullptr;
    bool m_keepPlugin = false;
};

} // namespace

NEXILO_EXPORT std::uint32_t NEXILO_CALL CvCreateObject(const wchar_t* name, CvIid iid,
                                                       void** object) {
    if (object == nullptr) {
        return 87;
    }
    *object = nullptr;
    if (name == nullptr || std::wstring(name) != kNexiloAgentObjectName || Refuses(L"create")) {
        return 1168;
    }
    auto* agent = new FakeAgent();
    *object = agent->QueryInterface(iid);
    if (*object == nullptr) {
        delete agent;
        return 1168;
    }
    return 0;
}

NEXILO_EXPORT void NEXILO_CALL CvDestroyObject(const wchar_t* name, ICvBaseInterface* object) {
    if (name != nullptr && std::wstring(name) == kNexiloAgentObjectName && object != nullptr) {
        delete static_cast<FakeAgent*>(static_cast<IServPlugin*>(object));
    }
}

NEXILO_EXPORT bool NEXILO_CALL GetNexiloInfo(cv::StringW& deviceId, cv::StringW& userToken) {
    if (Refuses(L"identity")) {
        return false;
    }
    deviceId = L"device";
    userToken = L"token";
    return true;
}

static_assert(std::is_same_v<decltype(&CvCreateObject), CvCreateObjectFn>);
static_assert(std::is_same_v<decltype(&CvDestroyObject), CvDestroyObjectFn>);
static_assert(std::is_same_v<decltype(&GetNexiloInfo), GetNexiloInfoFn>);
