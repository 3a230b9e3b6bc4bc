// The listener and the command channel against the test's own user-changed event: the test
// signals it, lets the 30-second retry run out at once, and sees every wait the listener begins.
#include "agent/nexilo_agent.h"

#include "agent/testing/agent_peer.h"
#include "agent/testing/fake_host.h"
#include "agent/testing/test_environment.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace {

using agent_testing::NexiloAgentPeer;
using platform::kWaitInfinite;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kSignedIn = R"({"user": {"user_token": "T1", "device_id": "D1"}})";
constexpr const wchar_t* kNoUser = L"nexilo_user_changed { \"nexilo_success\" : false }";
constexpr const wchar_t* kUser = L"nexilo_user_changed { \"nexilo_success\" : true }";
constexpr const wchar_t* kLeave = L"4|NexiloAgent::_UserChangedListener|Time to leave now [0]";

// Keeps every event as "name data", from whichever thread fires it.
class RecordingSubscriber : public cv::hostkit::Nexilo::INexiloAgent::IEvents {
public:
    void OnEvent(const wchar_t* name, const cv::Value& data) override {
        std::lock_guard lock(m_mutex);
        m_events.push_back(std::wstring(name) + L" " + data.ToString().GetString());
    }
    std::vector<std::wstring> Events() const {
        std::lock_guard lock(m_mutex);
        return m_events;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::wstring> m_events;
};

class MainLoopTest : public testing::Test {
protected:
    void SetUp() override {
        m_host.manager.settings = &m_settings;
        ASSERT_EQ(m_agent.RegisterEvents(&m_subscriber), 0u);
    }
    void TearDown() override { m_agent.UnInit(); }

    // Blocks until the listener has begun its n-th wait, and gives every time-out so far.
    std::vector<std::uint32_t> AfterWaits(std::size_t count) {
        EXPECT_TRUE(m_test.events.AwaitWaits(count));
        return m_test.events.Waits();
    }
    std::vector<std::wstring> Logged() const { return m_test.log.Texts(); }

    platform_testing::ScratchHome m_home;
    agent_testing::TestEnvironment m_test;
    agent_testing::FakeSettings m_settings;
    agent_testing::FakeHost m_host;
    RecordingSubscriber m_subscriber;
    NexiloAgent m_agent{m_test.environment};
};

TEST_F(MainLoopTest, WithoutDataTheListenerRetriesAndASignalEndsTheRetryEvenWhenItsFetchFails) {
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    EXPECT_THAT(AfterWaits(1), ElementsAre(30000u));
    EXPECT_EQ(m_test.events.Names(), std::vector<std::wstring>{L"Global\\{test}"});
    EXPECT_EQ(NexiloAgentPeer::QueueTasks(m_agent), 1u) << "the ping timer";
    EXPECT_TRUE(m_subscriber.Events().empty()) << "the first fetch tells nobody";

    m_test.events.ElapseTimeout();
    EXPECT_THAT(AfterWaits(2), ElementsAre(30000u, 30000u));
    m_test.events.ElapseTimeout();
    EXPECT_THAT(AfterWaits(3), ElementsAre(30000u, 30000u, 30000u));
    EXPECT_EQ(m_subscriber.Events(), (std::vector<std::wstring>{kNoUser, kNoUser}));
    EXPECT_THAT(Logged(), Contains(L"16|NexiloAgent::_UserChangedListener|"
                                   L"Timeout has passed, retry get data"));

    m_test.events.Signal();
    EXPECT_THAT(AfterWaits(4), ElementsAre(30000u, 30000u, 30000u, kWaitInfinite));
    EXPECT_EQ(m_subscriber.Events(), (std::vector<std::wstring>{kNoUser, kNoUser, kNoUser}));
    EXPECT_THAT(Logged(), Contains(L"16|NexiloAgent::_UserChangedListener|"
                                   L"ProductNode fired user changed, get data and cache it"));

    m_home.Write("node/state.json", kSignedIn);
    m_test.events.Signal();
    AfterWaits(5);
    EXPECT_EQ(m_subscriber.Events().back(), kUser);
    EXPECT_STREQ(NexiloAgentPeer::UserToken(m_agent).GetString(), L"T1");

    m_agent.UnInit();
    EXPECT_FALSE(NexiloAgentPeer::HasListener(m_agent));
    EXPECT_EQ(NexiloAgentPeer::QueueTasks(m_agent), 0u);
    EXPECT_THAT(Logged(), Contains(kLeave));
    EXPECT_EQ(m_subscriber.Events().size(), 4u) << "the stop's wake tells nobody";
}

TEST_F(MainLoopTest, ARetryThatFindsTheUserWaitsWithoutLimitAfterwards) {
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    AfterWaits(1);
    m_home.Write("node/state.json", kSignedIn);
    m_test.events.ElapseTimeout();
    EXPECT_THAT(AfterWaits(2), ElementsAre(30000u, kWaitInfinite));
    EXPECT_EQ(m_subscriber.Events(), std::vector<std::wstring>{kUser});
}

TEST_F(MainLoopTest, AStartWithTheUserWaitsWithoutLimitAndLeavesAtTheStopsWake) {
    m_home.Write("node/state.json", kSignedIn);
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    EXPECT_THAT(AfterWaits(1), ElementsAre(kWaitInfinite));
    m_agent.UnInit();
    EXPECT_THAT(Logged(), Contains(kLeave));
    EXPECT_TRUE(m_subscriber.Events().empty());
}

// The listener's first fetch needs the agent's lock, which the test holds until UnInit has asked
// the listener to stop: it then reaches its loop with the stop already set.
TEST_F(MainLoopTest, AStopBeforeTheFirstWaitLeavesWithoutWaiting) {
    std::thread stopper;
    {
        auto lock = NexiloAgentPeer::Lock(m_agent);
        ASSERT_EQ(m_agent.Init(&m_host), 0u);
        stopper = std::thread([this] { m_agent.UnInit(); });
        while (m_test.events.Sets() == 0) {
            std::this_thread::yield();
        }
    }
    stopper.join();
    EXPECT_TRUE(m_test.events.Waits().empty());
    EXPECT_THAT(Logged(), Not(Contains(kLeave)));
    EXPECT_FALSE(NexiloAgentPeer::HasListener(m_agent));
}

TEST_F(MainLoopTest, AnEventThatCannotBeMadeLeavesNoThreadNoTimerAndAHarmlessStop) {
    const struct {
        platform::NamedEventStage stage;
        const wchar_t* line;
    } cases[] = {
        {platform::NamedEventStage::kSecurityDescriptor,
         L"InitializeSecurityDescriptor failed [err 5]"},
        {platform::NamedEventStage::kSecurityDacl, L"SetSecurityDescriptorDacl failed [err 5]"},
        {platform::NamedEventStage::kCreate,
         L"Can't initialize global object for user changed notification [err 5]"},
    };
    for (const auto& c : cases) {
        m_test.log.Clear();
        m_test.events.failAt = c.stage;
        NexiloAgent agent(m_test.environment);
        ASSERT_EQ(agent.Init(&m_host), 0u) << "the product goes on without notification";
        EXPECT_THAT(Logged(),
                    Contains(L"4|NexiloAgent::_InitUserChangedListener|" + std::wstring(c.line)));
        EXPECT_FALSE(NexiloAgentPeer::HasListener(agent));
        EXPECT_FALSE(NexiloAgentPeer::HasUserChangedEvent(agent));
        EXPECT_EQ(NexiloAgentPeer::QueueTasks(agent), 0u);
        agent.UnInit();
    }
    EXPECT_EQ(m_test.events.Sets(), 0);
    EXPECT_TRUE(m_host.manager.Balanced());
}

// A subscriber on the listener thread reads through the agent while the wake-up holds its lock.
TEST_F(MainLoopTest, ASubscriberMayCallBackIntoTheAgentFromOnEvent) {
    m_home.Write("cloud/script.json",
                 R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"a": 1}}}}})");
    struct CallingBack : RecordingSubscriber {
        explicit CallingBack(NexiloAgent& agent) : agent(agent) {}
        void OnEvent(const wchar_t* name, const cv::Value& data) override {
            cv::Value result;
            bool isError = true;
            askCode = agent.Ask(L"nexilo/user_info", L"getInfo", cv::Value(), result, &isError,
                                cv::Value());
            agent.GetIpmState(&state);
            agent.GetCurrentCampaign(&campaign);
            RecordingSubscriber::OnEvent(name, data);
        }
        NexiloAgent& agent;
        std::uint32_t askCode = 1;
        bool state = false;
        cv::Value campaign;
    } subscriber(m_agent);
    ASSERT_EQ(m_agent.RegisterEvents(&subscriber), 0u);
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    AfterWaits(1);
    m_test.events.Signal();
    AfterWaits(2);
    EXPECT_EQ(subscriber.Events(), std::vector<std::wstring>{kNoUser});
    EXPECT_EQ(subscriber.askCode, 0u);
    EXPECT_TRUE(subscriber.state);
    EXPECT_EQ(subscriber.campaign.GetType(), cv::Value::Type::kDict);
    m_agent.UnInit();
    m_agent.UnregisterEvents(&subscriber);
}

TEST_F(MainLoopTest, SendCommandTriggersTheTestCampaignOnlyForItsOneMethod) {
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    auto request = [](const wchar_t* method, cv::Value count) {
        cv::Value value(cv::Value::Type::kDict);
        if (method != nullptr) {
            value[L"method"] = method;
        }
        if (count.GetType() != cv::Value::Type::kNull) {
            value[L"display_count"] = count;
        }
        return value;
    };
    const struct {
        const char* name;
        cv::Value request;
        int displayCount; // -1: no campaign
        const wchar_t* error;
    } cases[] = {
        {"no count", request(L"trigger_ipm", cv::Value()), 0, nullptr},
        {"a fraction", request(L"trigger_ipm", cv::Value(2.9)), 2, nullptr},
        {"capitals", request(L"TRIGGER_IPM", cv::Value(4)), -1, nullptr},
        {"empty dictionary", cv::Value(cv::Value::Type::kDict), -1,
         L"exception, exception: key not found [method]"},
        {"no dictionary", cv::Value(L"trigger_ipm"), -1,
         L"exception, exception: invalid type [dict != string]"},
        {"a text count", request(L"trigger_ipm", cv::Value(L"3")), -1,
         L"exception, exception: invalid type [number != 3]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        m_test.log.Clear();
        m_settings.nodes.clear();
        const std::size_t before = m_subscriber.Events().size();
        EXPECT_EQ(m_agent.SendCommand(c.request, 0), 0u);
        const auto events = m_subscriber.Events();
        EXPECT_THAT(Logged(), Contains(std::wstring(L"16|NexiloAgent::SendCommand|req: ") +
                                       c.request.ToString().GetString()));
        if (c.displayCount < 0) {
            EXPECT_EQ(events.size(), before);
            EXPECT_TRUE(m_settings.nodes.empty());
        } else {
            ASSERT_EQ(events.size(), before + 1);
            EXPECT_EQ(events.back(), std::wstring(L"new_campaign ") +
                                         Ipm::TestCampaign(c.displayCount).ToString().GetString());
            EXPECT_EQ(m_settings.nodes[L"/Ipm"].ints[L"display_count"], c.displayCount);
        }
        if (c.error != nullptr) {
            EXPECT_THAT(Logged(), Contains(HasSubstr(L"4|NexiloAgent::SendCommand|" +
                                                     std::wstring(c.error))));
        } else {
            EXPECT_THAT(Logged(), Not(Contains(HasSubstr(L"exception"))));
        }
    }
}

TEST_F(MainLoopTest, TheCampaignOperationsForwardToTheStoreAndTheStateReadsAlwaysTrue) {
    auto& node = m_settings.nodes[L"/Ipm"];
    node.strings[L"url"] = L"u";
    node.ints[L"width"] = 1;
    node.ints[L"height"] = 2;
    node.int64s[L"validity"] = 3;
    node.ints[L"display_count"] = 4;
    ASSERT_EQ(m_agent.Init(&m_host), 0u);
    cv::Value campaign;
    EXPECT_EQ(m_agent.GetCurrentCampaign(&campaign), 0u);
    EXPECT_EQ(campaign.At(L"display_count").AsNumber(), 4.0);

    EXPECT_EQ(m_agent.SetIpmState(false), 0u);
    bool state = false;
    EXPECT_EQ(m_agent.GetIpmState(&state), 0u);
    EXPECT_TRUE(state);
    EXPECT_FALSE(node.bools[L"state"]);

    campaign[L"display_count"] = 7;
    EXPECT_EQ(m_agent.UpdateCurrentCampaign(cv::Pass(campaign)), 0u);
    EXPECT_EQ(node.ints[L"display_count"], 7);
    EXPECT_EQ(m_agent.UpdateCurrentCampaign(cv::Pass(cv::Value(cv::Value::Type::kDict))), 0u)
        << "a wrong shape is logged, not thrown into the host";
    EXPECT_THAT(Logged(), Contains(HasSubstr(L"4|NexiloAgent::UpdateCurrentCampaign|"
                                             L"ValueException exception: invalid type [string")));
    EXPECT_EQ(node.ints[L"display_count"], 7);
}

} // namespace
