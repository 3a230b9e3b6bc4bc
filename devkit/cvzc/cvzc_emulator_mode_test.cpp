// The dev kit's cloud library in emulator mode on every system, Windows sockets under Wine
// included: a small loopback server in the test stands for the emulator and records what
// reaches it. (The real emulator is native only; cloudemu_tests drive this library against it.)
#include "cloud/cloud_client_api.h"
#include "devkit/cloud/emulator_address.h"
#include "devkit/cvzc/testing/cvzc_module.h"
#include "platform/testing/latch.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace {

using namespace cloud;
using testing::ElementsAre;

class StandInEmulator {
public:
    StandInEmulator() {
        m_server.Post(R"(/rpc/(.+))",
                      [this](const httplib::Request& request, httplib::Response& response) {
                          Note(std::string(request.matches[1]) + " " +
                               request.get_header_value("X-Cvz-Limit") + " " + request.body);
                          response.set_content(R"({"jsonrpc":"2.0","id":1,"result":{"ok":true}})",
                                               "application/json");
                      });
        m_server.Post("/push/sessions",
                      [this](const httplib::Request& request, httplib::Response& response) {
                          Note("open " + request.body);
                          response.status = 201;
                          response.set_content(R"({"session":7})", "application/json");
                      });
        m_server.Get("/push/sessions/7", [this](const httplib::Request&,
                                                httplib::Response& response) {
            Note("poll");
            response.set_content(R"({"messages":["{\"n\":1}"],"closed":true})", "application/json");
        });
        m_server.Delete("/push/sessions/7",
                        [this](const httplib::Request&, httplib::Response& response) {
                            Note("close");
                            response.set_content("{}", "application/json");
                        });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!m_server.is_running() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }
    ~StandInEmulator() {
        m_server.stop();
        m_thread.join();
    }

    std::string Url() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    std::vector<std::string> Notes() {
        std::lock_guard lock(m_mutex);
        return m_notes;
    }

private:
    void Note(std::string note) {
        std::lock_guard lock(m_mutex);
        m_notes.push_back(std::move(note));
    }

    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
    std::mutex m_mutex;
    std::vector<std::string> m_notes;
};

struct Received {
    std::string message;
    platform_testing::Latch arrived{1};
};

void NEXILO_CALL OnMessage(const CvzMessage* message, void* context) {
    auto* received = static_cast<Received*>(context);
    received->message.assign(message->data, message->size);
    received->arrived.CountDown();
}

TEST(CvzcEmulatorModeTest, ReachesTheEmulatorOverLoopbackAndDeliversItsPushes) {
    platform_testing::ScratchHome home;
    StandInEmulator emulator;
    std::string error;
    ASSERT_TRUE(devkit::cloud::WriteEmulatorAddress(devkit::cloud::EmulatorAddressFile(home.Path()),
                                                    emulator.Url(), 1, error))
        << error;
    devkit_testing::CvzcModule cvzc;
    ASSERT_EQ(cvzc.exports.Missing(), "");

    CvzSession session = nullptr;
    ASSERT_EQ(cvzc.init(&session), 0);
    const std::string text = R"({"jsonrpc":"2.0","method":"ping","id":1})";
    const CvzRequest request{"nexilo/ping", kAskLimit, kAskKind, text.data(),
                             static_cast<std::uint32_t>(text.size())};
    CvzReply* reply = nullptr;
    ASSERT_EQ(cvzc.ask(session, &request, &reply), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(std::string(reply->data, reply->size),
              R"({"jsonrpc":"2.0","id":1,"result":{"ok":true}})");
    cvzc.free(reply);

    Received received;
    const CvzCredentials credentials{"T", "A", "D"};
    const CvzTarget target{"all", "all"};
    const CvzCallbacks callbacks{nullptr, OnMessage, &received};
    ASSERT_EQ(cvzc.enroll(session, &credentials, &target, "notification", kPushChannel, &callbacks),
              0);
    received.arrived.Wait();
    EXPECT_EQ(received.message, R"({"n":1})");
    EXPECT_EQ(cvzc.uninit(session), 0);

    // Then perhaps a close: whether the session's end reached the library before uninit did is
    // a race that does no harm either way.
    const auto notes = emulator.Notes();
    ASSERT_GE(notes.size(), 3u);
    EXPECT_THAT(
        std::vector<std::string>(notes.begin(), notes.begin() + 3),
        ElementsAre(std::string("nexilo/ping 5000 ") + text,
                    R"(open {"credentials":{"user_token":"T","app_id":"A","device_id":"D"},)"
                    R"("target":{"app_id":"all","device_id":"all"},"type":"notification",)"
                    R"("channel":"secure_web"})",
                    "poll"));
}

} // namespace
