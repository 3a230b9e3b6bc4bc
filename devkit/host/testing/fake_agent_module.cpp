// A stand-in agent module for the host's tests of what the real agent never does: a factory that
// refuses, an object without INexiloAgent, a plugin and a settings node never given back.
//
// The environment variable NEXILO_FAKE_AGENT says how it misbehaves: "refuse" (CvCreateObject
// answers 1168), "no-agent" (the object offers no INexiloAgent), "keep" (Init takes HKSettings
// and its node "/Fake" and gives neither back). Init fires "fake_started" with true to its
// subscriber and returns 0; the other operations answer 120. Of the plain exports only
// GetNexiloInfo is offered: user token "token", device id "device".
#include "nexilo/exports.h"
#include "nexilo/flat_exports.h"
#include "nexilo/hk_settings.h"
#include "nexilo/host_interfaces.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"
#include "platform/environment.h"
#include "platform/error_codes.h"

#include <string>
#include <type_traits>

namespace {

using cv::hostkit::Nexilo::INexiloAgent;

bool Misbehaves(const wchar_t* how) {
    auto value = platform::ReadEnvironmentVariable(L"NEXILO_FAKE_AGENT");
    return value && *value == how;
}

class FakeAgent final : public IServPlugin, public INexiloAgent {
public:
    void* QueryInterface(CvIid iid) override {
        if (iid == kIidCvBaseInterface || iid == kIidServPlugin) {
            return static_cast<IServPlugin*>(this);
        }
        return iid == kIidNexiloAgent && !Misbehaves(L"no-agent") ? static_cast<INexiloAgent*>(this)
                                                                  : nullptr;
    }

    std::uint32_t Init(IServHost* host) override {
        void* settings = nullptr;
        if (Misbehaves(L"keep") && host->GetComponentManager()->GetPlugin(
                                       kHKSettingsPluginName, kIidHKSettings, &settings) == 0) {
            static_cast<IHKSettings*>(settings)->GetNode(L"/Fake");
        }
        if (m_events != nullptr) {
            m_events->OnEvent(L"fake_started", cv::Value(true));
        }
        return 0;
    }
    void UnInit() override {}
    std::uint32_t ReservedSlot3() override { return platform::kErrorCallNotImplemented; }
    void ReservedSlot4() override {}

    std::uint32_t RegisterEvents(IEvents* events) override {
        m_events = events;
        return 0;
    }
    std::uint32_t UnregisterEvents(IEvents*) override {
        m_events = nullptr;
        return 0;
    }
    std::uint32_t Ask(const wchar_t*, const wchar_t*, const cv::Value&, cv::Value&, bool*,
                      const cv::Value&) override {
        return platform::kErrorCallNotImplemented;
    }
    std::uint32_t Login() override { return platform::kErrorCallNotImplemented; }
    std::uint32_t Logout() override { return platform::kErrorCallNotImplemented; }
    std::uint32_t SwitchAccount() override { return platform::kErrorCallNotImplemented; }
    std::uint32_t GetUserDetails(cv::Value*) override { return platform::kErrorCallNotImplemented; }
    std::uint32_t GetLanguage(cv::StringW&) override { return platform::kErrorCallNotImplemented; }
    std::uint32_t SetLanguage(cv::ByValue<cv::StringW> language) override {
        language.Take();
        return platform::kErrorCallNotImplemented;
    }
    std::uint32_t SetIpmState(bool) override { return platform::kErrorCallNotImplemented; }
    std::uint32_t GetIpmState(bool*) override { return platform::kErrorCallNotImplemented; }
    std::uint32_t GetCurrentCampaign(cv::Value*) override {
        return platform::kErrorCallNotImplemented;
    }
    std::uint32_t UpdateCurrentCampaign(cv::ByValue<cv::Value> campaign) override {
        campaign.Take();
        return platform::kErrorCallNotImplemented;
    }
    std::uint32_t SendCommand(const cv::Value&, std::uint32_t) override {
        return platform::kErrorCallNotImplemented;
    }

private:
    IEvents* m_events = nullptr;
};

} // namespace

NEXILO_EXPORT std::uint32_t NEXILO_CALL CvCreateObject(const wchar_t* name, CvIid iid,
                                                       void** object) {
    *object = nullptr;
    if (std::wstring(name) != kNexiloAgentObjectName || Misbehaves(L"refuse")) {
        return platform::kErrorNotFound;
    }
    auto* agent = new FakeAgent();
    *object = agent->QueryInterface(iid);
    if (*object == nullptr) {
        delete agent;
        return platform::kErrorNotFound;
    }
    return 0;
}

NEXILO_EXPORT void NEXILO_CALL CvDestroyObject(const wchar_t*, ICvBaseInterface* object) {
    delete static_cast<FakeAgent*>(static_cast<IServPlugin*>(object));
}

NEXILO_EXPORT bool NEXILO_CALL GetNexiloInfo(cv::StringW& deviceId, cv::StringW& userToken) {
    deviceId = L"device";
    userToken = L"token";
    return true;
}

static_assert(std::is_same_v<decltype(&CvCreateObject), CvCreateObjectFn>);
static_assert(std::is_same_v<decltype(&CvDestroyObject), CvDestroyObjectFn>);
static_assert(std::is_same_v<decltype(&GetNexiloInfo), GetNexiloInfoFn>);
