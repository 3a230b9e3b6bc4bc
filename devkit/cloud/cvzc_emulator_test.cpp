// The dev kit's cloud client library in emulator mode, loaded as the agent loads it, against a
// running emulator named by the dev kit home.
#include "cloud/cloud_client_api.h"
#include "devkit/cloud/emulator_address.h"
#include "devkit/cloud/emulator_client.h"
#include "devkit/cloud/testing/running_emulator.h"
#include "devkit/cvzc/testing/cvzc_module.h"
#include "platform/testing/latch.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

namespace {

using namespace cloud;
using devkit_testing::Kinds;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kPing =
    R"({"jsonrpc": "2.0", "method": "ping", "id": 4, "params": {"nexilo_source": )"
    R"({"user_token": "T1", "app_id": "A", "device_id": "D1"}}})";

struct Received {
    std::mutex mutex;
    std::vector<std::string> messages;
    std::vector<void*> contexts;
    platform_testing::Latch arrived{1};
};

void NEXILO_CALL OnMessage(const CvzMessage* message, void* context) {
    auto* received = static_cast<Received*>(context);
    {
        std::lock_guard lock(received->mutex);
        received->messages.emplace_back(message->data, message->size);
        received->contexts.push_back(context);
    }
    received->arrived.CountDown();
}

class CvzcEmulatorTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_cvzc.exports.Missing(), "");
        std::string error;
        ASSERT_TRUE(devkit::cloud::WriteEmulatorAddress(
            devkit::cloud::EmulatorAddressFile(m_home.Path()), m_emulator.Url(), 1, error))
            << error;
    }

    platform_testing::ScratchHome m_home;
    devkit_testing::RunningEmulator m_emulator;
    devkit_testing::CvzcModule m_cvzc;
};

TEST_F(CvzcEmulatorTest, AsksTheEmulatorAndHandsItsPushesToTheHandler) {
    m_home.Write("cloud/script.json", R"({"init": {"code": 9, "handle": false}})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_cvzc.init(&session), 0) << "the script is not asked while an emulator is named";
    ASSERT_NE(session, nullptr);

    const CvzRequest request{"nexilo/ping", kAskLimit, kAskKind, kPing.data(),
                             static_cast<std::uint32_t>(kPing.size())};
    CvzReply* reply = nullptr;
    ASSERT_EQ(m_cvzc.ask(session, &request, &reply), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->kind, kReplyKindJson);
    EXPECT_EQ(std::string(reply->data, reply->size),
              R"({"jsonrpc":"2.0","id":4,"result":{"status":"ok"}})");
    m_cvzc.free(reply);

    Received received;
    const CvzCredentials credentials{"T1", "A", "D1"};
    const CvzTarget target{"all", "all"};
    const CvzCallbacks callbacks{nullptr, OnMessage, &received};
    ASSERT_EQ(
        m_cvzc.enroll(session, &credentials, &target, "notification", kPushChannel, &callbacks), 0);
    const auto posted = devkit::cloud::EmulatorClient(m_emulator.Url())
                            .Post("/push", R"({"type": "notification", "message": {"n": 1}})");
    EXPECT_EQ(posted.text, R"({"queued_for":1,"dropped":0})");
    received.arrived.Wait();
    EXPECT_EQ(m_cvzc.uninit(session), 0);

    EXPECT_THAT(received.messages, ElementsAre(R"({"n":1})"));
    EXPECT_THAT(received.contexts, ElementsAre(&received));
    EXPECT_EQ(Kinds(m_emulator.Store()), "ping,register,push,delivery,unregister");
    EXPECT_THAT(m_emulator.Store().Entries(0, 1).at(0).detail,
                HasSubstr(R"("limit":"5000","request_kind":"1")"));
    EXPECT_THAT(m_home.Read("cloud/requests.jsonl"), HasSubstr(R"("service":"nexilo/ping")"))
        << "recorded in both modes";
}

TEST_F(CvzcEmulatorTest, RefusalsAndAMissingEmulatorAreTheLibrarysFailures) {
    CvzSession session = nullptr;
    ASSERT_EQ(m_cvzc.init(&session), 0);
    const CvzCredentials stranger{"nobody", "A", "D1"};
    const CvzTarget target{"A", "D1"};
    const CvzCallbacks callbacks{nullptr, OnMessage, nullptr};
    EXPECT_EQ(m_cvzc.enroll(session, &stranger, &target, "event", kPushChannel, &callbacks),
              static_cast<std::int32_t>(platform::kErrorAccessDenied));

    // An address file left behind by an emulator that is gone.
    std::string error;
    ASSERT_TRUE(devkit::cloud::WriteEmulatorAddress(
        devkit::cloud::EmulatorAddressFile(m_home.Path()), "http://127.0.0.1:1", 1, error));
    CvzSession orphan = nullptr;
    ASSERT_EQ(m_cvzc.init(&orphan), 0);
    const CvzRequest request{"nexilo/ping", kAskLimit, kAskKind, kPing.data(),
                             static_cast<std::uint32_t>(kPing.size())};
    CvzReply* reply = nullptr;
    EXPECT_EQ(m_cvzc.ask(orphan, &request, &reply),
              static_cast<std::int32_t>(platform::kErrorConnectionRefused));
    EXPECT_EQ(reply, nullptr);
    EXPECT_EQ(m_cvzc.uninit(orphan), 0);
    EXPECT_EQ(m_cvzc.uninit(session), 0);
}

} // namespace
