// The interfaces' tables, called by raw slot index as a module built elsewhere calls them: a
// reordered or re-typed operation fails here.
#include "agent/testing/fake_host.h"
#include "frame/easy_eq.h"
#include "nexilo/event_queue.h"
#include "nexilo/nexilo_agent_interface.h"
#include "nexilo/serv_plugin_interface.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

#if defined(_WIN32) && (defined(__i386__) || defined(_M_IX86))
#define NEXILO_TEST_THISCALL __attribute__((thiscall))
#else
#define NEXILO_TEST_THISCALL
#endif

using cv::hostkit::Nexilo::INexiloAgent;
using U = std::uint32_t;

// Calls the operation in `slot` of the table of the interface at `object` with the argument types
// the ABI gives the intended operation there: a class passed by value travels by address.
template <class R, class... A>
R CallSlot(const void* object, std::size_t slot, A... args) {
    using Fn = R(NEXILO_TEST_THISCALL*)(const void*, A...);
    void* const* table = *static_cast<void* const* const*>(object);
    return reinterpret_cast<Fn>(table[slot])(object, args...);
}

template <class R, class... A>
std::function<void(const void*, std::size_t)> Call(A... args) {
    return [=](const void* object, std::size_t slot) { CallSlot<R, A...>(object, slot, args...); };
}

// A class argument the way MSVC passes it: the object's own bytes on 32-bit x86, else the
// address of the caller's temporary. The callee destroys the object, so nothing here does.
template <class T>
class MsvcByValue {
public:
    template <class... A>
    explicit MsvcByValue(A&&... args) {
        new (m_storage) T(std::forward<A>(args)...);
    }
    T& Object() { return *std::launder(reinterpret_cast<T*>(m_storage)); }
#if defined(_WIN32) && (defined(__i386__) || defined(_M_IX86))
    void* Argument() const {
        void* bytes = nullptr;
        std::memcpy(&bytes, m_storage, sizeof bytes);
        return bytes;
    }
#else
    void* Argument() const {
        return const_cast<unsigned char*>(m_storage);
    }
#endif

private:
    alignas(T) unsigned char m_storage[sizeof(T)];
};

// Counts what strings do with its blocks.
class CountingMemMgr final : public cv::IMemMgr {
public:
    void* Allocate(std::size_t size) override {
        ++allocations;
        return std::malloc(size);
    }
    void* Reallocate(void* block, std::size_t size) override {
        allocations += block == nullptr;
        return std::realloc(block, size);
    }
    void Free(void* block) override {
        ++frees;
        std::free(block);
    }
    void Release() override { ++releases; }

    int allocations = 0;
    int frees = 0;
    int releases = 0;
};

// Answers 0, false or null, whatever the operation returns.
struct Answer {
    template <class T>
    operator T() const {
        return T{};
    }
};

// Every operation notes its slot and, where the ABI could garble them, what it was given.
class Recorder final : public IServPlugin,
                       public INexiloAgent,
                       public INexiloAgent::IEvents,
                       public IEventQueue {
public:
    void* QueryInterface(CvIid iid) override { return Note(0, std::to_wstring(iid.words[3])); }
    U Init(IServHost*) override { return Note(1); }
    void UnInit() override { Note(2); }
    U ReservedSlot3() override { return Note(3); }
    void ReservedSlot4() override { Note(4); }

    U RegisterEvents(INexiloAgent::IEvents*) override { return Note(0); }
    U UnregisterEvents(INexiloAgent::IEvents*) override { return Note(1); }
    U Ask(const wchar_t* service, const wchar_t* method, const cv::Value&, cv::Value&, bool*,
          const cv::Value&) override {
        return Note(2, std::wstring(service) + L"/" + method);
    }
    U Login() override { return Note(3); }
    U Logout() override { return Note(4); }
    U SwitchAccount() override { return Note(5); }
    U GetUserDetails(cv::Value*) override { return Note(6); }
    U GetLanguage(cv::StringW&) override { return Note(7); }
    U SetLanguage(cv::ByValue<cv::StringW> language) override {
        return Note(8, language.Take().GetString());
    }
    U SetIpmState(bool state) override { return Note(9, std::to_wstring(state)); }
    U GetIpmState(bool*) override { return Note(10); }
    U GetCurrentCampaign(cv::Value*) override { return Note(11); }
    U UpdateCurrentCampaign(cv::ByValue<cv::Value> campaign) override {
        return Note(12, campaign.Take().AsString().GetString());
    }
    U SendCommand(const cv::Value&, U word) override { return Note(13, std::to_wstring(word)); }

    void OnEvent(const wchar_t* name, const cv::Value&) override { Note(0, name); }

    U Initialise(std::int32_t) override { return Note(1); }
    U Close() override { return Note(2); }
    U PostNow(const wchar_t* name, U*, EqWorkItem*, EqWorkItem*, U, U) override {
        return Note(3, name);
    }
    U PostTimed(const wchar_t*, U*, std::int32_t, std::int32_t period, EqWorkItem*, EqWorkItem*, U,
                U) override {
        return Note(4, std::to_wstring(period));
    }
    U ReservedSlot5() override { return Note(5); }
    U Wait(U id, U timeoutMs) override { return Note(6, std::to_wstring(id + timeoutMs)); }
    U Cancel(U) override { return Note(7); }
    U ReleaseId(U id) override { return Note(8, std::to_wstring(id)); }

    // Calls each slot from `first` on with its call, and expects its own operation to answer.
    void ExpectSlots(const void* object, std::size_t first,
                     const std::vector<std::function<void(const void*, std::size_t)>>& calls,
                     const std::map<std::size_t, std::wstring>& given = {}) {
        for (std::size_t slot = first; slot < first + calls.size(); ++slot) {
            calls[slot - first](object, slot);
            EXPECT_EQ(m_slot, slot);
            EXPECT_EQ(m_given, given.count(slot) ? given.at(slot) : L"") << "slot " << slot;
        }
    }

    void ExpectLast(std::size_t slot, const std::wstring& given) const {
        EXPECT_EQ(m_slot, slot);
        EXPECT_EQ(m_given, given);
    }

private:
    Answer Note(std::size_t slot, std::wstring given = {}) {
        m_slot = slot;
        m_given = std::move(given);
        return {};
    }

    std::size_t m_slot = 99;
    std::wstring m_given;
};

TEST(InterfacesAbiTest, WhatTheHostCallsAnswersAtItsSlots) {
    Recorder recorder;
    cv::Value text(L"text");
    cv::Value result;
    cv::StringW language(L"en-us");
    CountingMemMgr memMgr;
    MsvcByValue<cv::StringW> languageArgument(memMgr);
    languageArgument.Object() = L"de-de";
    MsvcByValue<cv::Value> campaignArgument(L"campaign");
    bool flag = false;
    recorder.ExpectSlots(static_cast<IServPlugin*>(&recorder), 0,
                         {Call<void*, CvIid>(kIidNexiloAgent), Call<U, IServHost*>(nullptr),
                          Call<void>(), Call<U>(), Call<void>()},
                         {{0, std::to_wstring(kIidNexiloAgent.words[3])}});
    recorder.ExpectSlots(
        static_cast<INexiloAgent*>(&recorder), 0,
        {Call<U, void*>(nullptr), Call<U, void*>(nullptr),
         Call<U, const wchar_t*, const wchar_t*, const cv::Value*, cv::Value*, bool*,
              const cv::Value*>(L"svc", L"m", &text, &result, &flag, &text),
         Call<U>(), Call<U>(), Call<U>(), Call<U, cv::Value*>(&result),
         Call<U, cv::StringW*>(&language), Call<U, void*>(languageArgument.Argument()),
         Call<U, bool>(true), Call<U, bool*>(&flag), Call<U, cv::Value*>(&result),
         Call<U, void*>(campaignArgument.Argument()), Call<U, const cv::Value*, U>(&text, 7u)},
        {{2, L"svc/m"}, {8, L"de-de"}, {9, L"1"}, {12, L"campaign"}, {13, L"7"}});
    // The callee destroyed the string it was handed, once; the sanitizer sees the value's node.
    EXPECT_EQ(memMgr.allocations, 1);
    EXPECT_EQ(memMgr.frees, 1);
    EXPECT_EQ(memMgr.releases, 1);
    recorder.ExpectSlots(
        static_cast<INexiloAgent::IEvents*>(&recorder), 0,
        {Call<void, const wchar_t*, const cv::Value*>(L"nexilo_user_changed", &text)},
        {{0, L"nexilo_user_changed"}});
    recorder.ExpectSlots(
        static_cast<IEventQueue*>(&recorder), 1,
        {Call<U, std::int32_t>(4), Call<U>(),
         Call<U, const wchar_t*, U*, void*, void*, U, U>(L"now", nullptr, nullptr, nullptr, 0u, 0u),
         Call<U, const wchar_t*, U*, std::int32_t, std::int32_t, void*, void*, U, U>(
             L"timed", nullptr, 10, 20, nullptr, nullptr, 0u, 0u),
         Call<U>(), Call<U, U, U>(5u, 10u), Call<U, U>(5u), Call<U, U>(5u)},
        {{3, L"now"}, {4, L"20"}, {6, L"15"}, {8, L"5"}});
}

// A leak or a second destruction of a handed-over argument shows under the sanitizer.
TEST(InterfacesAbiTest, ACallerBuiltWithGccHandsItsArgumentsOverOnce) {
    Recorder recorder;
    INexiloAgent& agent = recorder;
    cv::StringW language(L"fr-fr");
    agent.SetLanguage(cv::Pass(language));
    recorder.ExpectLast(8, L"fr-fr");
    EXPECT_STREQ(language.GetString(), L"fr-fr");
    agent.UpdateCurrentCampaign(cv::Pass(cv::Value(L"spring")));
    recorder.ExpectLast(12, L"spring");
    auto neverHanded = cv::Pass(cv::Value(L"kept"));
}

TEST(InterfacesAbiTest, TheHostsPluginsAnswerAtTheirSlots) {
    agent_testing::FakeSettings settings;
    agent_testing::FakeProductInfo info;
    agent_testing::FakeHost host;
    host.manager.settings = &settings;
    EXPECT_EQ(CallSlot<void*>(static_cast<IServHost*>(&host), 1), &host.manager);
    void* plugin = nullptr;
    EXPECT_EQ((CallSlot<U, const wchar_t*, CvIid, void**>(&host.manager, 1, L"HKSettings",
                                                          kIidHKSettings, &plugin)),
              0u);
    EXPECT_EQ(plugin, static_cast<IHKSettings*>(&settings));
    EXPECT_EQ((CallSlot<U, const wchar_t*>(&host.manager, 2, L"HKSettings")), 0u);
    EXPECT_TRUE(host.manager.Balanced());

    const void* node = CallSlot<void*, const wchar_t*>(&settings, 1, L"/N");
    ASSERT_EQ(node, &settings.nodes[L"/N"]);
    cv::StringW text;
    std::int32_t number = 0;
    std::int64_t wide = 0;
    bool flag = false;
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, const wchar_t*>(node, 5, L"s", L"v")));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int32_t>(node, 6, L"i", -17)));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int64_t>(node, 7, L"w", -(1LL << 41))));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, bool>(node, 8, L"b", true)));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, cv::StringW*, U>(node, 1, L"s", &text, 0u)));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int32_t*, U>(node, 2, L"i", &number, 0u)));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, std::int64_t*, U>(node, 3, L"w", &wide, 0u)));
    EXPECT_TRUE((CallSlot<bool, const wchar_t*, bool*, U>(node, 4, L"b", &flag, 0u)));
    EXPECT_TRUE(text == L"v" && number == -17 && wide == -(1LL << 41) && flag);
    CallSlot<void>(node, 9);
    EXPECT_EQ(settings.nodes[L"/N"].releases, 1);

    info.values[{L"nexilo", 3}] = L"com.corvane.basicshield";
    EXPECT_STREQ((CallSlot<const wchar_t*, std::int32_t, const wchar_t*>(&info, 6, 3, L"nexilo")),
                 L"com.corvane.basicshield");
}

TEST(InterfacesAbiTest, WorkItemsEndAtSlotZeroReleaseAtSlotOneAndRunAtSlotTwo) {
    struct Counter {
        void Add(int amount) { total += amount; }
        int total = 0;
    } counter;
    using Item = EqWorkItemMember1<void, Counter, int>;
    EqWorkItem* item = new Item(&counter, &Counter::Add, 5);
    CallSlot<void>(item, 2);
    EXPECT_EQ(counter.total, 5);
    CallSlot<void>(item, 1); // frees the item: a leak or a double free shows under the sanitizer

    // What MSVC's delete of an item calls.
    item = new Item(&counter, &Counter::Add, 5);
    EXPECT_EQ((CallSlot<void*, U>(item, 0, kCvDeleteMemory)), item);
    EXPECT_EQ(counter.total, 5);
}

TEST(InterfacesAbiTest, ValueNodesTellTheirTypeAtSlotOneAndEndAtSlotZero) {
    cv::Value dict;
    dict[L"list"].Append(cv::Value(L"text"));
    const std::vector<std::pair<cv::Value, cv::Value::Type>> kinds = {
        {cv::Value(2.5), cv::Value::Type::kNumber},
        {cv::Value(true), cv::Value::Type::kBool},
        {cv::Value(L"text"), cv::Value::Type::kString},
        {cv::Value(cv::Value::Type::kArray), cv::Value::Type::kArray},
        {dict, cv::Value::Type::kDict}};
    for (const auto& [value, type] : kinds) {
        // Plays a module built with MSVC: the node's slots, then the node's memory by its flags.
        for (U flags : {0u, kCvDeleteMemory}) {
            alignas(cv::Value) unsigned char handle[sizeof(cv::Value)];
            new (handle) cv::Value(value);
            void* node = nullptr;
            std::memcpy(&node, handle, sizeof node);
            EXPECT_EQ(CallSlot<cv::Value::Type>(node, 1), type);
            EXPECT_EQ((CallSlot<void*, U>(node, 0, flags)), node);
            if ((flags & kCvDeleteMemory) == 0) {
                std::free(node);
            }
        }
    }
}

} // namespace
