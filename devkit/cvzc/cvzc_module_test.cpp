// The dev kit's cloud client library as the agent meets it: loaded as a module, called through
// its exports.
#include "cloud/cloud_client_api.h"
#include "devkit/common/testing/module_exports.h"
#include "devkit/cvzc/testing/cvzc_module.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace cloud;
using testing::HasSubstr;

class CvzcModuleTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_cvzc.exports.Missing(), ""); }

    platform_testing::ScratchHome m_home;
    devkit_testing::CvzcModule m_cvzc;
    devkit_testing::ModuleExports& m_module = m_cvzc.exports;
    CvzInitFn m_init = m_cvzc.init;
    CvzUninitFn m_uninit = m_cvzc.uninit;
    CvzAskFn m_ask = m_cvzc.ask;
    CvzFreeResponseFn m_free = m_cvzc.free;
    CvzSetOptionFn m_setOption = m_cvzc.setOption;
    NexiloRegisterFn m_register = m_cvzc.enroll;
};

TEST_F(CvzcModuleTest, OffersEveryExportAndTheVariantLacksOnlyRegister) {
    devkit_testing::ModuleExports variant(L"cvzc.dll", "noregister");
    for (const char* name : kCloudClientExports) {
        EXPECT_NE(m_module.Find<void*>(name), nullptr) << name;
        const bool expected = std::string(name) != "nexilo_register";
        EXPECT_EQ(variant.Find<void*>(name) != nullptr, expected) << name;
    }
    EXPECT_EQ(variant.Missing(), "missing: nexilo_register");
}

TEST_F(CvzcModuleTest, AskRepliesAsScriptedAndEveryCallIsRecorded) {
    m_home.Write("cloud/script.json",
                 R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"x": 1}}}}})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    EXPECT_EQ(m_setOption(session, kOptionApplied, kOptionAppliedValue), 0);
    const std::string text = R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1})";
    const CvzRequest request{"nexilo/user_info", kAskLimit, kAskKind, text.data(),
                             static_cast<std::uint32_t>(text.size())};
    CvzReply* reply = nullptr;
    ASSERT_EQ(m_ask(session, &request, &reply), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->kind, kReplyKindJson);
    EXPECT_EQ(std::string(reply->data, reply->size),
              R"({"jsonrpc":"2.0","id":1,"result":{"x":1}})");
    m_free(reply);
    const CvzCredentials credentials{"T", "A", "D"};
    const CvzTarget target{"all", "all"};
    const CvzCallbacks callbacks{nullptr, nullptr, nullptr};
    EXPECT_EQ(m_register(session, &credentials, &target, "notification", kPushChannel, &callbacks),
              0);
    EXPECT_EQ(m_uninit(session), 0);

    const std::string recorded = m_home.Read("cloud/requests.jsonl");
    EXPECT_THAT(recorded, HasSubstr(R"("service":"nexilo/user_info")"));
    EXPECT_THAT(recorded, HasSubstr(R"("limit":5000,"kind":1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"method\": \"getInfo\")"));
    EXPECT_THAT(recorded, HasSubstr(R"("register":{"type":"notification","channel":"secure_web")"));
}

TEST_F(CvzcModuleTest, InitFollowsTheScriptedResultAndHandle) {
    m_home.Write("cloud/script.json", R"({"init": {"code": 7, "handle": true}})");
    CvzSession session = nullptr;
    EXPECT_EQ(m_init(&session), 7);
    EXPECT_EQ(m_uninit(session), 0);

    m_home.Write("cloud/script.json", R"({"init": {"code": 0, "handle": false}})");
    EXPECT_EQ(m_init(&session), 0);
    EXPECT_EQ(session, nullptr);
}

TEST_F(CvzcModuleTest, ForeignHandlesAndBadArgumentsAreRefused) {
    int foreign = 0;
    const CvzRequest request{"svc", kAskLimit, kAskKind, "{}", 2};
    CvzReply* reply = nullptr;
    EXPECT_EQ(m_ask(&foreign, &request, &reply), 6);
    EXPECT_EQ(m_uninit(&foreign), 6);
    EXPECT_EQ(m_setOption(nullptr, 1, 1), 6);
    EXPECT_EQ(m_init(nullptr), 87);

    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    EXPECT_EQ(m_ask(session, nullptr, &reply), 87);
    EXPECT_EQ(m_register(session, nullptr, nullptr, "event", kPushChannel, nullptr), 87);
    EXPECT_EQ(m_uninit(session), 0);
    EXPECT_EQ(m_uninit(session), 6) << "a session ends once";
}

} // namespace
