#include "ipm/ipm.h"

#include "cloud/testing/fake_cloud_client.h"
#include "ipm/testing/fake_ipm_host.h"
#include "ipm/testing/ipm_peer.h"
#include "platform/testing/latch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

using ipm_testing::FakeIpmHost;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PushFlowTest : public testing::Test {
protected:
    PushFlowTest() { m_host.pushLoader = m_library.Loader(); }

    std::vector<std::wstring> Logged() const { return m_host.log.Texts(); }

    cloud_testing::FakeCloudClient m_library;
    FakeIpmHost m_host;
    Ipm m_ipm{&m_host};
};

TEST_F(PushFlowTest, StartsWithTheIdentityAndStopsOnce) {
    EXPECT_TRUE(m_ipm.Init());
    EXPECT_THAT(Logged(), Contains(L"16|Ipm::_InitPush|init_push_req { \"app_id\" : \"A\", "
                                   L"\"device_id\" : \"D\", \"user_token\" : \"T\" }"));
    m_ipm._UninitPush();
    m_ipm._UninitPush();
    EXPECT_THAT(m_library.Calls(), ElementsAre("load", "init", "option 1=1", "uninit", "unload"));
}

TEST_F(PushFlowTest, AnUnusableIdentityFailsTheStartAndTheStopStillEndsTheWorker) {
    m_host.identity = R"({"user_token": "T", "app_id": null, "device_id": "D"})";
    EXPECT_FALSE(m_ipm.Init());
    EXPECT_THAT(Logged(), Contains(L"4|Ipm::_InitPush|error on NexiloPush init"));
    EXPECT_THAT(Logged(),
                Contains(L"16|_NxpLogCbk|[PUSH] [NexiloPush][Log::LogInfo][23] Invalid nexilo "
                         L"source data"));
    m_ipm._UninitPush();
    EXPECT_THAT(m_library.Calls(), IsEmpty());
}

TEST_F(PushFlowTest, LogLinesAreCutAtTheirLastLineFeed) {
    struct Row {
        const wchar_t* message;
        const wchar_t* logged; // null: nothing
    };
    for (const Row& row :
         {Row{L"", nullptr}, Row{L"ends\n", L"ends"}, Row{L"one\ntwo\nthree", L"one\ntwo"},
          Row{L"whole", L"whole"}, Row{L"\n", L""}}) {
        m_host.log.Clear();
        m_ipm._NxpLogCbk(row.message);
        if (row.logged == nullptr) {
            EXPECT_THAT(Logged(), IsEmpty());
        } else {
            EXPECT_THAT(Logged(), ElementsAre(L"16|_NxpLogCbk|[PUSH] " + std::wstring(row.logged)));
        }
    }
}

TEST_F(PushFlowTest, TheStopWaitsForARegistrationInsideTheLibrary) {
    platform_testing::Latch entered(1);
    platform_testing::Latch release(1);
    m_library.duringRegister = [&] {
        entered.CountDown();
        release.Wait();
    };
    ASSERT_TRUE(m_ipm.Init());
    ipm_testing::IpmPeer::Push(m_ipm)->RegisterTopic(
        nxp::kTopicNotifications, [](void*) {}, cv::Json());
    entered.Wait();
    std::thread stopping([this] { m_ipm._UninitPush(); });
    release.CountDown();
    stopping.join();
    EXPECT_THAT(m_library.Calls(), ElementsAre("load", "init", "option 1=1", "register",
                                               "registered", "uninit", "unload"));
}

} // namespace
