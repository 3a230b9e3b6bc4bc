#include "devkit/cloud/emulator_server.h"

#include "devkit/cloud/emulator_client.h"
#include "devkit/cloud/json_ptr.h"
#include "devkit/cloud/testing/raw_connection.h"
#include "devkit/cloud/testing/running_emulator.h"
#include "platform/error_codes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

namespace {

using namespace devkit::cloud;
using devkit_testing::Kinds;
using devkit_testing::RawConnection;
using devkit_testing::RunningEmulator;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kGetInfo =
    R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1, "params": {"nexilo_source": )"
    R"({"user_token": "T1", "app_id": "A", "device_id": "D1"}}})";

const PushCredentials kCredentials{"T1", "A", "D1"};

std::int32_t Code(platform::ErrorCode code) {
    return static_cast<std::int32_t>(code);
}

TEST(EmulatorServerTest, ServesTheServicesPushTelemetryAndInspection) {
    RunningEmulator emulator;
    const EmulatorClient client(emulator.Url());

    const ClientResult info = client.Ask("nexilo/user_info", 5000, 1, kGetInfo);
    ASSERT_EQ(info.code, 0) << info.error;
    EXPECT_THAT(info.text, HasSubstr(R"("result":{"email":"ada@example.com")"));

    const ClientResult session =
        client.OpenPushSession(kCredentials, "all", "all", "notification", "secure_web");
    ASSERT_EQ(session.code, 0) << session.error;
    const ClientResult posted = client.Post(
        "/push", R"({"type": "notification", "message": {"app_fields": {}, "user_fields": {}}})");
    EXPECT_EQ(posted.text, R"({"queued_for":1,"dropped":0})");
    const auto poll = client.PollPushSession(session.text, 0);
    ASSERT_EQ(poll.result.code, 0) << poll.result.error;
    EXPECT_THAT(poll.messages, ElementsAre(R"({"app_fields":{},"user_fields":{}})"));
    EXPECT_FALSE(poll.closed);
    EXPECT_EQ(client.ClosePushSession(session.text).code, 0);
    EXPECT_TRUE(client.PollPushSession(session.text, 0).closed);
    EXPECT_EQ(client.PollPushSession(session.text, 0).result.code, Code(platform::kErrorNotFound));

    const ClientResult event =
        client.Post("/telemetry", R"({"name": "m_product_configured", "fields": {"a": 1}})");
    EXPECT_EQ(event.code, 0) << event.error;

    EXPECT_EQ(Kinds(emulator.Store()), "request,register,push,delivery,unregister,rejected,event")
        << "the poll after the end is refused and recorded";
    const ClientResult inspected = client.Get("/inspect?after=5&limit=1");
    ASSERT_EQ(inspected.code, 0) << inspected.error;
    EXPECT_THAT(inspected.text, StartsWith(R"({"entries":[{"seq":6,"time_ms":)"));
    EXPECT_THAT(inspected.text, HasSubstr(R"("last_seq":6)"));
    EXPECT_THAT(client.Get("/").text, HasSubstr("<title>Nexilo cloud emulator</title>"));
}

TEST(EmulatorServerTest, RefusalsComeAsJsonWithAStatusAndAreRecorded) {
    RunningEmulator emulator({1024, 8});
    const EmulatorClient client(emulator.Url());
    struct Row {
        const char* name;
        ClientResult result;
        const char* reason;
    };
    const Row rows[] = {
        {"unknown route", client.Get("/nothing"), "404 no such route"},
        {"oversized body", client.Post("/telemetry", std::string(2000, ' ')),
         "413 the body is larger than 1024 bytes"},
        {"event without name", client.Post("/telemetry", R"({"fields": {}})"),
         "400 an event is a JSON object"},
        {"push without message", client.Post("/push", R"({"type": "event"})"),
         "400 a push needs \"message\""},
        {"registration of a stranger",
         client.OpenPushSession({"X", "A", "D1"}, "all", "all", "event", "secure_web"),
         "403 unknown user token"},
    };
    for (const Row& row : rows) {
        EXPECT_NE(row.result.code, 0) << row.name;
        EXPECT_THAT(row.result.error, HasSubstr(row.reason)) << row.name;
    }
    EXPECT_EQ(Kinds(emulator.Store()), "rejected,rejected,rejected,rejected,rejected");
}

TEST(EmulatorServerTest, SurvivesGarbageOversizedAndTruncatedRequests) {
    RunningEmulator emulator({1024, 8});
    const std::string streams[] = {
        std::string("\x00\x01\x02garbage\r\n\r\n", 15),
        "GET / HTTP/1.1\r\nHost: x\r\n" + std::string(20000, 'h') + "\r\n\r\n",
        "POST /rpc/nexilo/user_info HTTP/1.1\r\nHost: x\r\nContent-Length: 100000000\r\n\r\n" +
            std::string(5000, '{'),
        "POST /rpc/nexilo/user_info HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
        "ffffffff\r\n" +
            std::string(5000, 'x'),
        "POST /rpc/nexilo/user_info HTTP/1.1\r\nHost: x\r\nContent-Length: 500\r\n\r\n{\"jso",
        "POST /rpc/nexilo/user_info HTTP/1.1\r\nHost: x\r\nContent-Length: 9\r\n\r\n{\"jsonrp",
        "POST /rpc/nexilo/user_info HTTP/1.1\r\nHost: x\r\nContent-Length: -5\r\n\r\n",
        "POST /push/sessions HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\n\xff\xfe[]",
        "GET /push/sessions/99999999999999999999999?wait_ms=-4 HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET /inspect?after=abc&limit=999999999999 HTTP/1.1\r\nHost: x\r\n\r\n",
        "POST /rpc/nexilo/ping HTTP/1.1\r\nHost: x",
    };
    for (const std::string& stream : streams) {
        RawConnection connection(emulator.Server().Port());
        ASSERT_TRUE(connection.Connected());
        connection.Send(stream);
        const std::string answer = connection.FinishAndRead();
        if (!answer.empty()) {
            EXPECT_THAT(answer, StartsWith("HTTP/1.1 ")) << stream.substr(0, 60);
        }
    }
    const ClientResult good =
        EmulatorClient(emulator.Url()).Ask("nexilo/user_info", 5000, 1, kGetInfo);
    ASSERT_EQ(good.code, 0) << good.error;
    EXPECT_THAT(good.text, HasSubstr("ada@example.com"));
}

TEST(EmulatorServerTest, ListensOnLoopbackOnlyAndSaysWhenThePortIsTaken) {
    RunningEmulator emulator;
    auto store = devkit_testing::SeededStore();
    PushHub hub(*store);
    EmulatorServer second(*store, hub);
    std::string error;
    EXPECT_FALSE(second.Bind("0.0.0.0", 0, error));
    EXPECT_EQ(error, "refusing to listen on 0.0.0.0: the emulator serves loopback only "
                     "(127.0.0.1, ::1 or localhost)");
    EXPECT_FALSE(second.Bind("127.0.0.1", emulator.Server().Port(), error));
    EXPECT_EQ(error, "cannot listen on 127.0.0.1:" + std::to_string(emulator.Server().Port()) +
                         ": the port is taken or not allowed");

    const std::pair<const char*, bool> hosts[] = {
        {"127.0.0.1", true},    {"127.1.2.3", true}, {"::1", true},      {"localhost", true},
        {"0.0.0.0", false},     {"10.0.0.1", false}, {"127.0.0", false}, {"127.0.0.1.5", false},
        {"127.0.0.256", false}, {"127..0.1", false}, {"", false},        {"example.com", false},
    };
    for (const auto& [host, loopback] : hosts) {
        EXPECT_EQ(IsLoopbackHost(host), loopback) << host;
    }
}

TEST(EmulatorServerTest, StoppingEndsAWaitingPoll) {
    auto emulator = std::make_unique<RunningEmulator>();
    const EmulatorClient client(emulator->Url());
    const ClientResult session =
        client.OpenPushSession(kCredentials, "A", "D1", "event", "secure_web");
    ASSERT_EQ(session.code, 0) << session.error;
    auto poll =
        std::async(std::launch::async, [&] { return client.PollPushSession(session.text, 60000); });
    emulator.reset();
    const auto ended = poll.get();
    // Closed while waiting, or unknown or unreachable when the stop came first: never a wait
    // for the whole minute.
    EXPECT_TRUE(ended.closed || ended.result.code != 0);
}

} // namespace
