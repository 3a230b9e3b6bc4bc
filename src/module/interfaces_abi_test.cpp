// The interfaces' tables, called by raw slot index as a module built elsewhere calls them: a
// reordered or re-typed operation fails here.
#include "nexilo/event_queue.h"
#include "nexilo/exports.h"
#include "nexilo/hk_settings.h"
#include "nexilo/host_interfaces.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"
#include "platform/module_loader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

#if defined(_WIN32) && (defined(__i386__) || defined(_M_IX86))
#define NEXILO_TEST_THISCALL __attribute__((thiscall))
#else
#define NEXILO_TEST_THISCALL
#endif

// Calls the operation in `slot` of the table of the interface at `object`.
template <class R, class... A>
R CallSlot(const void* object, std::size_t slot, A... args) {
    using Fn = R(NEXILO_TEST_THISCALL*)(const void*, A...);
    void* const* table = *static_cast<void* const* const*>(object);
    return reinterpret_cast<Fn>(table[slot])(object, args...);
}

using cv::hostkit::Nexilo::INexiloAgent;

// Every operation answers 100 + its slot and notes its name.
class AgentRecorder final : public INexiloAgent {
public:
    std::uint32_t RegisterEvents(IEvents*) override { return Note("RegisterEvents", 0); }
    std::uint32_t UnregisterEvents(IEvents*) override { return Note("UnregisterEvents", 1); }
    std::uint32_t Ask(const wchar_t* service, const wchar_t*, const cv::Value&, cv::Value&, bool*,
                      const cv::Value&) override {
        m_text = service;
        return Note("Ask", 2);
    }
    std::uint32_t Login() override { return Note("Login", 3); }
    std::uint32_t Logout() override { return Note("Logout", 4); }
    std::uint32_t SwitchAccount() override { return Note("SwitchAccount", 5); }
    std::uint32_t GetUserDetails(cv::Value*) override { return Note("GetUserDetails", 6); }
    std::uint32_t GetLanguage(cv::StringW&) override { return Note("GetLanguage", 7); }
    std::uint32_t SetLanguage(cv::StringW language) override {
        m_text = language.GetString();
        return Note("SetLanguage", 8);
    }
    std::uint32_t SetIpmState(bool) override { return Note("SetIpmState", 9); }
    std::uint32_t GetIpmState(bool*) override { return Note("GetIpmState", 10); }
    std::uint32_t GetCurrentCampaign(cv::Value*) override { return Note("GetCurrentCampaign", 11); }
    std::uint32_t UpdateCurrentCampaign(cv::Value campaign) override {
        m_campaignWasNull = campaign.GetType() == cv::Value::Type::kNull;
        return Note("UpdateCurrentCampaign", 12);
    }
    std::uint32_t SendCommand(const cv::Value&, std::uint32_t word) override {
        m_word = word;
        return Note("SendCommand", 13);
    }

    std::uint32_t Note(const char* name, std::uint32_t slot) {
        m_last = name;
        return 100 + slot;
    }

    std::string m_last;
    std::wstring m_text;
    bool m_campaignWasNull = false;
    std::uint32_t m_word = 0;
};

TEST(InterfacesAbiTest, NexiloAgentHasItsFourteenSlotsFromZero) {
    AgentRecorder agent;
    const INexiloAgent* table = &agent;
    cv::Value value;
    cv::Value result;
    bool flag = false;
    cv::StringW text;
    const char* names[] = {"RegisterEvents", "UnregisterEvents", "Ask",        "Login", "Logout",
                           "SwitchAccount",  "GetUserDetails",   "GetLanguage"};
    EXPECT_EQ(CallSlot<std::uint32_t>(table, 0, nullptr), 100u);
    EXPECT_EQ(CallSlot<std::uint32_t>(table, 1, nullptr), 101u);
    EXPECT_EQ(
        (CallSlot<std::uint32_t, const wchar_t*, const wchar_t*, const cv::Value*, cv::Value*,
                  bool*, const cv::Value*>(table, 2, L"svc", L"m", &value, &result, &flag, &value)),
        102u);
    EXPECT_EQ(agent.m_text, L"svc");
    for (std::size_t slot = 3; slot <= 5; ++slot) {
        EXPECT_EQ(CallSlot<std::uint32_t>(table, slot), 100u + slot);
        EXPECT_EQ(agent.m_last, names[slot]);
    }
    EXPECT_EQ((CallSlot<std::uint32_t, cv::Value*>(table, 6, &value)), 106u);
    EXPECT_EQ((CallSlot<std::uint32_t, cv::StringW*>(table, 7, &text)), 107u);
    // A by-value string travels as the ABI passes a class with a destructor: by address.
    cv::StringW language(L"en-us");
    EXPECT_EQ((CallSlot<std::uint32_t, cv::StringW*>(table, 8, &language)), 108u);
    EXPECT_EQ(agent.m_text, L"en-us");
    EXPECT_EQ((CallSlot<std::uint32_t, bool>(table, 9, true)), 109u);
    EXPECT_EQ((CallSlot<std::uint32_t, bool*>(table, 10, &flag)), 110u);
    EXPECT_EQ((CallSlot<std::uint32_t, cv::Value*>(table, 11, &value)), 111u);
    EXPECT_EQ((CallSlot<std::uint32_t, cv::Value*>(table, 12, &value)), 112u);
    EXPECT_TRUE(agent.m_campaignWasNull);
    EXPECT_EQ((CallSlot<std::uint32_t, const cv::Value*, std::uint32_t>(table, 13, &value, 7u)),
              113u);
    EXPECT_EQ(agent.m_word, 7u);
}

class EventsRecorder final : public INexiloAgent::IEvents {
public:
    void OnEvent(const wchar_t* name, const cv::Value&) override { m_name = name; }
    std::wstring m_name;
};

TEST(InterfacesAbiTest, EventsStartWithOnEvent) {
    EventsRecorder events;
    cv::Value data;
    CallSlot<void, const wchar_t*, const cv::Value*>(static_cast<INexiloAgent::IEvents*>(&events),
                                                     0, L"nexilo_user_changed", &data);
    EXPECT_EQ(events.m_name, L"nexilo_user_changed");
}

class PluginRecorder final : public IServPlugin {
public:
    void* QueryInterface(CvIid iid) override {
        m_iid = iid;
        return this;
    }
    std::uint32_t Init(IServHost* host) override {
        m_host = host;
        return 0xFFFFFFFF;
    }
    void UnInit() override { m_uninit = true; }
    std::uint32_t ReservedSlot3() override { return 0; }
    void ReservedSlot4() override { m_reserved4 = true; }

    CvIid m_iid{};
    IServHost* m_host = nullptr;
    bool m_uninit = false;
    bool m_reserved4 = false;
};

TEST(InterfacesAbiTest, ServPluginFollowsQueryInterface) {
    PluginRecorder plugin;
    const IServPlugin* table = &plugin;
    EXPECT_EQ((CallSlot<void*, CvIid>(table, 0, kIidServPlugin)), table);
    EXPECT_TRUE(plugin.m_iid == kIidServPlugin) << "the identifier travels by value";
    auto* host = reinterpret_cast<IServHost*>(0x1000);
    EXPECT_EQ((CallSlot<std::uint32_t, IServHost*>(table, 1, host)), 0xFFFFFFFFu);
    EXPECT_EQ(plugin.m_host, host);
    CallSlot<void>(table, 2);
    EXPECT_TRUE(plugin.m_uninit);
    EXPECT_EQ(CallSlot<std::uint32_t>(table, 3), 0u);
    CallSlot<void>(table, 4);
    EXPECT_TRUE(plugin.m_reserved4);
}

class NodeRecorder final : public IHKSettingsNode {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    bool GetString(const wchar_t*, cv::StringW& out, std::uint32_t) override {
        out = L"text";
        return Note(1);
    }
    bool GetInt(const wchar_t*, std::int32_t& out, std::uint32_t) override {
        out = -5;
        return Note(2);
    }
    bool GetInt64(const wchar_t*, std::int64_t& out, std::uint32_t) override {
        out = 1LL << 40;
        return Note(3);
    }
    bool GetBool(const wchar_t*, bool& out, std::uint32_t) override {
        out = true;
        return Note(4);
    }
    bool SetString(const wchar_t*, const wchar_t*) override { return Note(5); }
    bool SetInt(const wchar_t*, std::int32_t value) override {
        m_int = value;
        return Note(6);
    }
    bool SetInt64(const wchar_t*, std::int64_t value) override {
        m_int64 = value;
        return Note(7);
    }
    bool SetBool(const wchar_t*, bool) override { return Note(8); }
    void Release() override { m_slot = 9; }

    bool Note(int slot) {
        m_slot = slot;
        return true;
    }

    int m_slot = 0;
    std::int32_t m_int = 0;
    std::int64_t m_int64 = 0;
};

TEST(InterfacesAbiTest, SettingsNodeReadsThenWritesThenRelease) {
    NodeRecorder node;
    const IHKSettingsNode* table = &node;
    cv::StringW text;
    std::int32_t number = 0;
    std::int64_t wide = 0;
    bool flag = false;
    EXPECT_TRUE(
        (CallSlot<bool, const wchar_t*, cv::StringW*, std::uint32_t>(table, 1, L"k", &text, 0u)));
    EXPECT_EQ(node.m_slot, 1);
    EXPECT_TRUE(text == L"text");
    EXPECT_TRUE((
        CallSlot<bool, const wchar_t*, std::int32_t*, std::uint32_t>(table, 2, L"k", &number, 0u)));
    EXPECT_EQ(number, -5);
    EXPECT_TRUE(
        (CallSlot<bool, const wchar_t*, std::int64_t*, std::uint32_t>(table, 3, L"k", &wide, 0u)));
    EXPECT_EQ(wide, 1LL << 40);
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, bool*, std::uint32_t>(table, 4, L"k", &flag, 0u)));
    EXPECT_TRUE(flag);
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, const wchar_t*>(table, 5, L"k", L"v")));
    EXPECT_EQ(node.m_slot, 5);
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int32_t>(table, 6, L"k", 17)));
    EXPECT_EQ(node.m_int, 17);
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int64_t>(table, 7, L"k", -(1LL << 41))));
    EXPECT_EQ(node.m_int64, -(1LL << 41));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, bool>(table, 8, L"k", true)));
    EXPECT_EQ(node.m_slot, 8);
    CallSlot<void>(table, 9);
    EXPECT_EQ(node.m_slot, 9);
}

class HostRecorder final : public IServHost,
                           public IComponentManager,
                           public IHKSettings,
                           public IProductInfo,
                           public IDeviceDetectionEvents {
public:
    void* QueryInterface(CvIid) override { return nullptr; }
    IComponentManager* GetComponentManager() override { return this; }
    std::uint32_t GetPlugin(const wchar_t*, CvIid iid, void** plugin) override {
        m_iid = iid;
        *plugin = static_cast<IHKSettings*>(this);
        return 21;
    }
    std::uint32_t ReleasePlugin(const wchar_t*) override { return 22; }
    IHKSettingsNode* GetNode(const wchar_t*) override { return &m_node; }
    std::uint32_t ReservedSlot1() override { return 1; }
    std::uint32_t ReservedSlot2() override { return 2; }
    std::uint32_t ReservedSlot3() override { return 3; }
    std::uint32_t ReservedSlot4() override { return 4; }
    std::uint32_t ReservedSlot5() override { return 5; }
    const wchar_t* GetProductValue(std::int32_t index, const wchar_t*) override {
        return index == 0 ? L"com.corvane.basicshield" : nullptr;
    }
    std::uint32_t SetUserData(const wchar_t*, const wchar_t* deviceId, const wchar_t*) override {
        m_device = deviceId;
        return 61;
    }

    NodeRecorder m_node;
    CvIid m_iid{};
    std::wstring m_device;
};

TEST(InterfacesAbiTest, HostSideOperationsStandAtTheirSlots) {
    HostRecorder host;
    EXPECT_EQ(CallSlot<IComponentManager*>(static_cast<IServHost*>(&host), 1),
              static_cast<IComponentManager*>(&host));

    const IComponentManager* manager = &host;
    void* plugin = nullptr;
    EXPECT_EQ((CallSlot<std::uint32_t, const wchar_t*, CvIid, void**>(manager, 1, L"HKSettings",
                                                                      kIidHKSettings, &plugin)),
              21u);
    EXPECT_TRUE(host.m_iid == kIidHKSettings);
    EXPECT_EQ(plugin, static_cast<IHKSettings*>(&host));
    EXPECT_EQ((CallSlot<std::uint32_t, const wchar_t*>(manager, 2, L"HKSettings")), 22u);

    EXPECT_EQ((CallSlot<IHKSettingsNode*, const wchar_t*>(static_cast<IHKSettings*>(&host), 1,
                                                          L"/Nexilo")),
              &host.m_node);

    const IProductInfo* info = &host;
    for (std::size_t slot = 1; slot <= 5; ++slot) {
        EXPECT_EQ(CallSlot<std::uint32_t>(info, slot), slot);
    }
    EXPECT_EQ(std::wstring(
                  (CallSlot<const wchar_t*, std::int32_t, const wchar_t*>(info, 6, 0, L"nexilo"))),
              L"com.corvane.basicshield");

    EXPECT_EQ((CallSlot<std::uint32_t, const wchar_t*, const wchar_t*, const wchar_t*>(
                  static_cast<IDeviceDetectionEvents*>(&host), 1, L"t", L"device", L"app")),
              61u);
    EXPECT_EQ(host.m_device, L"device");
}

class ItemRecorder final : public EqWorkItem {
public:
    explicit ItemRecorder(int& state) : m_state(state) {}
    void Release() override {
        m_state += 10;
        delete this;
    }
    void Run() override { m_state += 1; }

private:
    ~ItemRecorder() override = default;
    int& m_state;
};

TEST(InterfacesAbiTest, WorkItemsRunAtSlotThreeAndReleaseAtSlotTwo) {
    int state = 0;
    EqWorkItem* item = new ItemRecorder(state);
    CallSlot<void>(item, 3);
    EXPECT_EQ(state, 1);
    CallSlot<void>(item, 2);
    EXPECT_EQ(state, 11);
}

TEST(InterfacesAbiTest, TheDevKitQueueAnswersAtItsSlots) {
    platform::ModuleResult loaded = platform::LoadModule(L"hostcore.dll");
    ASSERT_TRUE(loaded.module) << loaded.error;
    auto create = reinterpret_cast<CvCreateObjectFn>(
        platform::FindExport(loaded.module.get(), kCvCreateObjectName).address);
    auto destroy = reinterpret_cast<CvDestroyObjectFn>(
        platform::FindExport(loaded.module.get(), kCvDestroyObjectName).address);
    ASSERT_NE(create, nullptr);
    ASSERT_NE(destroy, nullptr);
    void* object = nullptr;
    ASSERT_EQ(create(kGlobalEventQueueName, kIidCvBaseInterface, &object), 0u);

    const void* queue = CallSlot<void*, CvIid>(object, 0, kIidEventQueue);
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ((CallSlot<std::uint32_t, std::int32_t>(queue, 1, 4)), 0u);
    std::uint32_t id = 0;
    int state = 0;
    EXPECT_EQ((CallSlot<std::uint32_t, const wchar_t*, std::uint32_t*, EqWorkItem*, EqWorkItem*,
                        std::uint32_t, std::uint32_t>(queue, 3, L"now", &id,
                                                      new ItemRecorder(state), nullptr, 0u, 0u)),
              0u);
    EXPECT_EQ((CallSlot<std::uint32_t, std::uint32_t, std::uint32_t>(queue, 6, id, kEqInfinite)),
              0u);
    EXPECT_EQ(state, 11) << "ran once, released once";
    EXPECT_EQ(
        (CallSlot<std::uint32_t, const wchar_t*, std::uint32_t*, std::int32_t, std::int32_t,
                  EqWorkItem*, EqWorkItem*, std::uint32_t, std::uint32_t>(
            queue, 4, L"timed", &id, 3600 * 1000, 0, new ItemRecorder(state), nullptr, 0u, 0u)),
        0u);
    EXPECT_EQ(CallSlot<std::uint32_t>(queue, 5), 120u) << "the reserved slot";
    EXPECT_EQ((CallSlot<std::uint32_t, std::uint32_t>(queue, 7, id)), 0u);
    EXPECT_EQ((CallSlot<std::uint32_t, std::uint32_t, std::uint32_t>(queue, 6, id, kEqInfinite)),
              0u);
    EXPECT_EQ(state, 21) << "canceled before running, released";
    EXPECT_EQ((CallSlot<std::uint32_t, std::uint32_t>(queue, 8, id)), 0u);
    EXPECT_EQ((CallSlot<std::uint32_t, std::uint32_t>(queue, 8, id)), 1168u);
    EXPECT_EQ(CallSlot<std::uint32_t>(queue, 2), 0u);
    destroy(kGlobalEventQueueName, static_cast<ICvBaseInterface*>(object));
}

} // namespace
