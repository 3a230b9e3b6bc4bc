#include "cloud/nexilo_push.h"

#include "cloud/testing/fake_cloud_client.h"
#include "platform/testing/latch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nxp {
namespace {

using cloud_testing::FakeCloudClient;
using cloud_testing::Registration;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

cv::Json Parsed(const std::string& text) {
    cv::Json json;
    json.Parse(text);
    return json;
}

// What the callbacks saw, one text per call: "topic N: fields".
class Received {
public:
    NexiloPush::TopicCallback For(std::int32_t topic, std::string tag = "") {
        return [this, topic, tag](void* record) { Record(topic, tag, record); };
    }
    std::vector<std::string> Texts() {
        std::lock_guard lock(m_mutex);
        return m_texts;
    }

private:
    static std::string Params(const cv::Json& params) {
        return params.IsValid() ? params.Dump(cv::kJsonEncodeAny | cv::kJsonCompact) : "-";
    }
    void Record(std::int32_t topic, const std::string& tag, void* record) {
        std::string text = tag;
        if (topic == kTopicNotifications) {
            const auto& m = *static_cast<NotificationMessage*>(record);
            text += "notification " + m.id + "|" + m.text + "|" + Params(m.params) + "|" +
                    std::to_string(m.timestamp);
        } else if (topic == kTopicCommands) {
            const auto& m = *static_cast<CommandMessage*>(record);
            text += "command " + m.command + "|" + m.command_id + "|" + Params(m.params) + "|" +
                    std::to_string(m.timestamp);
        } else {
            const auto& m = *static_cast<EventMessage*>(record);
            text += "event " + m.event + "|" + Params(m.params) + "|" + m.app_id + "|" +
                    m.device_id + "|" + std::to_string(m.timestamp);
        }
        std::lock_guard lock(m_mutex);
        m_texts.push_back(text);
    }

    std::mutex m_mutex;
    std::vector<std::string> m_texts;
};

class NexiloPushTest : public testing::Test {
protected:
    NexiloPushTest() { m_push = std::make_unique<NexiloPush>(&m_processor, m_library.Loader()); }
    ~NexiloPushTest() override {
        m_processor.Stop();
        m_push.reset();
    }

    std::uint32_t
    Init(const std::string& source = R"({"user_token": "T", "app_id": "A", "device_id": "D"})") {
        return m_push->Init(Parsed(source), Sink());
    }
    logging::Log::Sink Sink() {
        return [this](const std::wstring& line) {
            std::lock_guard lock(m_mutex);
            m_lines.push_back(line);
        };
    }
    // The messages of the client's lines, without the "[NexiloPush][Log::LogInfo][23] " head.
    std::vector<std::wstring> Lines() {
        std::lock_guard lock(m_mutex);
        std::vector<std::wstring> messages;
        for (const std::wstring& line : m_lines) {
            messages.push_back(line.substr(line.find(L"] ", line.find(L"[23]")) + 2));
        }
        return messages;
    }
    void Register(std::int32_t topic, NexiloPush::TopicCallback callback,
                  const cv::Json& filter = cv::Json()) {
        m_push->RegisterTopic(topic, callback, filter);
        cloud_testing::WaitForQueuedWork(m_processor);
    }
    Registration Only() {
        auto registrations = m_library.Registrations();
        EXPECT_EQ(registrations.size(), 1u);
        return registrations.empty() ? Registration{} : registrations.front();
    }

    FakeCloudClient m_library;
    RequestProcessor m_processor{[](const std::wstring&) {}};
    std::unique_ptr<NexiloPush> m_push;
    Received m_received;

private:
    std::mutex m_mutex;
    std::vector<std::wstring> m_lines;
};

TEST_F(NexiloPushTest, UnusableSourcesFailWithoutTouchingTheLibrary) {
    struct Row {
        const char* source;
        const wchar_t* line;
    };
    for (const Row& row : {
             Row{nullptr, L"Null nexilo source"},
             Row{R"({"app_id": "A", "device_id": "D"})", L"Invalid nexilo source data"},
             Row{R"({"user_token": "T", "app_id": 7, "device_id": "D"})",
                 L"Invalid nexilo source data"},
         }) {
        NexiloPush push(&m_processor, m_library.Loader());
        const cv::Json source = row.source != nullptr ? Parsed(row.source) : cv::Json();
        EXPECT_EQ(push.Init(source, Sink()), 31u) << (row.source ? row.source : "null");
        EXPECT_THAT(Lines(), Contains(row.line));
    }
    EXPECT_THAT(m_library.Calls(), IsEmpty());
}

TEST_F(NexiloPushTest, SessionLivesWithTheClientAndARefusedSessionUnloadsAtOnce) {
    ASSERT_EQ(Init(), 0u);
    m_push.reset();
    EXPECT_THAT(m_library.Calls(), ElementsAre("load", "init", "option 1=1", "uninit", "unload"));

    FakeCloudClient refusing;
    refusing.initResult = 4;
    NexiloPush push(&m_processor, refusing.Loader());
    EXPECT_EQ(push.Init(Parsed(R"({"user_token": "T", "app_id": "A", "device_id": "D"})"), Sink()),
              0u);
    EXPECT_THAT(refusing.Calls(), ElementsAre("load", "init", "unload"));
}

TEST_F(NexiloPushTest, WithoutALibraryInitSucceedsAndRegistrationsAreForgotten) {
    m_library.loadable = false;
    ASSERT_EQ(Init(), 0u);
    Register(kTopicNotifications, m_received.For(kTopicNotifications));
    Register(kTopicNotifications, m_received.For(kTopicNotifications));
    EXPECT_THAT(Lines(),
                ElementsAre(L"Topic register: 1", L"cvzc is not loaded", L"Remove topic: 1",
                            L"Topic register: 1", L"cvzc is not loaded", L"Remove topic: 1"));
}

TEST_F(NexiloPushTest, RegistrationsCarryTheIdentityTypeAndTargetOfTheirTopic) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicNotifications, m_received.For(1));
    Register(kTopicEvents, m_received.For(0), Parsed(R"({"app_id": "x", "device_id": 5})"));
    Register(9, m_received.For(9));

    auto registrations = m_library.Registrations();
    ASSERT_EQ(registrations.size(), 3u);
    auto shape = [](const Registration& r) {
        return r.type + " " + r.targetAppId + "/" + r.targetDeviceId + " " + r.channel + " " +
               r.userToken + "," + r.appId + "," + r.deviceId +
               (r.callbacks.messageHandler != nullptr ? " handled" : " unhandled");
    };
    EXPECT_EQ(shape(registrations[0]), "notification all/all secure_web T,A,D handled");
    EXPECT_EQ(shape(registrations[1]), "event x/D secure_web T,A,D handled");
    EXPECT_EQ(shape(registrations[2]), " / secure_web T,A,D unhandled");

    EXPECT_EQ(m_push->GetDestination().Dump(cv::kJsonCompact), R"({"device_id":"D","app_id":"A"})");
}

TEST_F(NexiloPushTest, EventsTwiceMakeOneCallAndKeepTheFirstCallback) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicEvents, m_received.For(0, "first "));
    Register(kTopicEvents, m_received.For(0, "second "));
    EXPECT_THAT(Lines(), Contains(L"Topic already registered(event)"));
    FakeCloudClient::Deliver(Only(), R"({"app_fields": {"event": "e", "event_params": {}}})");
    EXPECT_THAT(m_received.Texts(), ElementsAre("first event e|{}|||0"));
}

TEST_F(NexiloPushTest, CommandsAfterEventsNeedNoCallAndCountAsRegistered) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicEvents, m_received.For(0));
    Register(kTopicCommands, m_received.For(2));
    EXPECT_EQ(m_library.Registrations().size(), 1u);
    EXPECT_THAT(Lines(), Contains(L"Topic already registered(command)"));
    Register(kTopicCommands, m_received.For(2));
    EXPECT_THAT(Lines(), Contains(L"Topic already registered(event)"));
    EXPECT_EQ(m_library.Registrations().size(), 1u);
}

TEST_F(NexiloPushTest, CommandsFirstCallTheLibraryEachTimeUntilEventsAreIn) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicCommands, m_received.For(2), Parsed(R"({"app_id": "ignored"})"));
    Register(kTopicCommands, m_received.For(2));
    Register(kTopicEvents, m_received.For(0));
    auto registrations = m_library.Registrations();
    ASSERT_EQ(registrations.size(), 3u);
    for (const Registration& r : registrations) {
        EXPECT_EQ(r.type + " " + r.targetAppId + "/" + r.targetDeviceId, "event A/D");
    }
    EXPECT_THAT(Lines(), Not(Contains(HasSubstr(L"already registered"))));
}

TEST_F(NexiloPushTest, ARefusedRegistrationForgetsTheTopicButKeepsItsCallback) {
    ASSERT_EQ(Init(), 0u);
    m_library.registerResult = 5;
    Register(kTopicNotifications, m_received.For(1, "first "));
    EXPECT_THAT(Lines(),
                ElementsAre(L"Topic register: 1", L"m_nexiloGenericRegisterFn failed with code 5",
                            L"Remove topic: 1"));
    m_library.registerResult = 0;
    Register(kTopicNotifications, m_received.For(1, "second "));
    auto registrations = m_library.Registrations();
    ASSERT_EQ(registrations.size(), 2u);
    FakeCloudClient::Deliver(registrations[1], R"({"app_fields": {}, "user_fields": {}})");
    EXPECT_THAT(m_received.Texts(), ElementsAre("first notification ||-|0"));
}

TEST_F(NexiloPushTest, UnregisterDropsLaterMessagesAndIgnoresUnknownTopics) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicNotifications, m_received.For(1));
    m_push->UnregisterTopic(kTopicEvents);
    const Registration registration = Only();
    const char* message = R"({"app_fields": {}, "user_fields": {"text": "hi"}})";
    FakeCloudClient::Deliver(registration, message);
    m_push->UnregisterTopic(kTopicNotifications);
    FakeCloudClient::Deliver(registration, message);
    EXPECT_THAT(m_received.Texts(), ElementsAre("notification |hi|-|0"));
}

TEST_F(NexiloPushTest, NotificationsFillTheirRecord) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicNotifications, m_received.For(1));
    const Registration registration = Only();
    for (const char* message : {
             R"({"app_fields": {"notification_id": "n1", "timestamp": 1700000000123,
                 "notification_params": [1, "two"]}, "user_fields": {"text": "Hello"}})",
             R"({"app_fields": {"notification_id": 4, "timestamp": 1.5},
                 "user_fields": {"text": null}})",
         }) {
        FakeCloudClient::Deliver(registration, message);
    }
    EXPECT_THAT(m_received.Texts(), ElementsAre(R"(notification n1|Hello|[1,"two"]|1700000000123)",
                                                "notification ||-|0"));
}

TEST_F(NexiloPushTest, MalformedPushesAreDroppedWithTheirLine) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicNotifications, m_received.For(1));
    Register(kTopicEvents, m_received.For(0));
    Register(kTopicCommands, m_received.For(2));
    auto registrations = m_library.Registrations();
    ASSERT_EQ(registrations.size(), 2u);
    const Registration notification = registrations[0];
    const Registration event = registrations[1];

    struct Row {
        const Registration* to;
        const char* bytes;
        const wchar_t* line;
    };
    for (const Row& row : {
             Row{&notification, "[1, 2]", L"Message is not json : [1, 2]"},
             Row{&notification, "{\"app_fields\": {", L"Message is not json : {\"app_fields\": {"},
             Row{&notification, R"({"user_fields": {}})",
                 L" Null message body. No app_fields node"},
             Row{&notification, R"({"app_fields": {"notification_id": "n"}})",
                 L" Null user_fields node"},
             Row{&event, "\"text\"", L"Message is not json : \"text\""},
             Row{&event, R"({"event_params": {}})", L" Null message body. No app_fields node"},
             Row{&event, R"({"app_fields": {"event": "command"}})",
                 L" Null message body. No event_params node"},
         }) {
        FakeCloudClient::Deliver(*row.to, row.bytes);
        EXPECT_THAT(Lines(), Contains(row.line)) << row.bytes;
    }
    // Null records and data.
    const cloud::CvzMessage noData{0, nullptr, 4};
    notification.callbacks.messageHandler(nullptr, notification.callbacks.context);
    notification.callbacks.messageHandler(&noData, notification.callbacks.context);
    event.callbacks.messageHandler(nullptr, event.callbacks.context);
    event.callbacks.messageHandler(&noData, event.callbacks.context);
    event.callbacks.messageHandler(&noData, nullptr);
    event.callbacks.statusHandler(&noData, event.callbacks.context);
    auto lines = Lines();
    EXPECT_THAT(
        std::vector<std::wstring>(lines.end() - 4, lines.end()),
        ElementsAre(L"Null message.", L"Null message data.", L" Null  message", L"null msg data"));
    EXPECT_THAT(m_received.Texts(), IsEmpty());
}

TEST_F(NexiloPushTest, OnlyTheExactNameCommandIsACommand) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicEvents, m_received.For(0));
    Register(kTopicCommands, m_received.For(2));
    const Registration registration = Only();
    for (const char* name : {"command", "Command", "command ", "comman"}) {
        FakeCloudClient::Deliver(
            registration,
            R"({"app_fields": {"event": ")" + std::string(name) +
                R"(", "timestamp": 7, "event_params": {"command": "scan", "command_id": "c1",
                "command_params": {"deep": true}}, "nexilo_target": {"app_id": "a2",
                "device_id": "d2"}}})");
    }
    EXPECT_THAT(
        m_received.Texts(),
        ElementsAre(
            R"(command scan|c1|{"deep":true}|7)",
            R"(event Command|{"command":"scan","command_id":"c1","command_params":{"deep":true}}|a2|d2|7)",
            R"(event command |{"command":"scan","command_id":"c1","command_params":{"deep":true}}|a2|d2|7)",
            R"(event comman|{"command":"scan","command_id":"c1","command_params":{"deep":true}}|a2|d2|7)"));
    EXPECT_THAT(Lines(), Contains(HasSubstr(L" Request: {\"app_fields\"")));
}

TEST_F(NexiloPushTest, EventsAndCommandsReachOnlyTheirOwnTopic) {
    ASSERT_EQ(Init(), 0u);
    Register(kTopicCommands, m_received.For(2));
    const Registration registration = Only();
    FakeCloudClient::Deliver(registration, R"({"app_fields": {"event": "e", "event_params": 1}})");
    FakeCloudClient::Deliver(registration,
                             R"({"app_fields": {"event": "command", "event_params": {}}})");
    EXPECT_THAT(m_received.Texts(), ElementsAre("command ||-|0"));
}

TEST_F(NexiloPushTest, StopWaitsForARegistrationInFlightBeforeTheClientGoes) {
    platform_testing::Latch entered(1);
    platform_testing::Latch release(1);
    m_library.duringRegister = [&] {
        entered.CountDown();
        release.Wait();
    };
    ASSERT_EQ(Init(), 0u);
    m_push->RegisterTopic(kTopicNotifications, m_received.For(1), cv::Json());
    entered.Wait();
    // The owner's order at shutdown: stop the processor, then destroy the client.
    std::thread shutdown([this] {
        m_processor.Stop();
        m_push.reset();
    });
    release.CountDown();
    shutdown.join();
    EXPECT_THAT(m_library.Calls(), ElementsAre("load", "init", "option 1=1", "register",
                                               "registered", "uninit", "unload"));
}

} // namespace
} // namespace nxp
