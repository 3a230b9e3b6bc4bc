// The dev kit's cloud client library as the agent meets it: loaded as a module, called through
// its exports.
#include "cloud/cloud_client_api.h"
#include "devkit/common/devkit_home.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

using namespace cloud;

class CvzcModuleTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME",
                                                       m_home.Path().wstring().c_str()));
        m_module = Load(platform::testing::TestBinFolder());
        ASSERT_TRUE(m_module);
        m_init = Find<CvzInitFn>("cvzephra_init");
        m_uninit = Find<CvzUninitFn>("cvzephra_uninit");
        m_ask = Find<CvzAskFn>("cvzephra_ask");
        m_free = Find<CvzFreeResponseFn>("cvzephra_free_response");
        m_setOption = Find<CvzSetOptionFn>("cvzephra_set_option");
    }
    void TearDown() override { platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr); }

    static platform::UniqueHModule Load(const std::filesystem::path& folder) {
        auto loaded = platform::LoadModuleFile(
            platform::JoinPath(folder.wstring(), platform::SystemModuleName(L"cvzc.dll")));
        EXPECT_EQ(loaded.error, platform::kErrorSuccess);
        return std::move(loaded.module);
    }

    template <typename Fn>
    Fn Find(const char* name) {
        auto found = platform::FindExport(m_module.get(), name);
        EXPECT_NE(found.address, nullptr) << name;
        return reinterpret_cast<Fn>(found.address);
    }

    void WriteScript(const std::string& text) {
        std::filesystem::create_directories(m_home.Path() / "cloud");
        std::ofstream(m_home.Path() / "cloud" / "script.json", std::ios::binary) << text;
    }

    std::string Recorded() {
        std::string text;
        devkit::ReadWholeFile(m_home.Path() / "cloud" / "requests.jsonl", text);
        return text;
    }

    platform::testing::TempDir m_home;
    platform::UniqueHModule m_module;
    CvzInitFn m_init = nullptr;
    CvzUninitFn m_uninit = nullptr;
    CvzAskFn m_ask = nullptr;
    CvzFreeResponseFn m_free = nullptr;
    CvzSetOptionFn m_setOption = nullptr;
};

TEST_F(CvzcModuleTest, OffersEveryExportAndTheVariantLacksOnlyRegister) {
    for (const char* name : kCloudClientExports) {
        EXPECT_NE(platform::FindExport(m_module.get(), name).address, nullptr) << name;
    }
    auto variant = Load(platform::testing::TestBinFolder() / "noregister");
    ASSERT_TRUE(variant);
    for (const char* name : kCloudClientExports) {
        const auto found = platform::FindExport(variant.get(), name);
        if (std::string(name) == "nexilo_register") {
            EXPECT_EQ(found.address, nullptr);
            EXPECT_EQ(found.error, platform::kErrorProcNotFound);
        } else {
            EXPECT_NE(found.address, nullptr) << name;
        }
    }
}

TEST_F(CvzcModuleTest, AskRecordsTheRequestAndRepliesAsScripted) {
    WriteScript(R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"x": 1}}}}})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    ASSERT_NE(session, nullptr);
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

    const std::string recorded = Recorded();
    EXPECT_NE(recorded.find(R"("service":"nexilo/user_info")"), std::string::npos) << recorded;
    EXPECT_NE(recorded.find(R"("limit":5000,"kind":1)"), std::string::npos) << recorded;
    EXPECT_NE(recorded.find(R"(\"method\": \"getInfo\")"), std::string::npos) << recorded;
    EXPECT_EQ(m_uninit(session), 0);
}

TEST_F(CvzcModuleTest, InitFollowsTheScriptedResultAndHandle) {
    WriteScript(R"({"init": {"code": 7, "handle": true}})");
    CvzSession session = nullptr;
    EXPECT_EQ(m_init(&session), 7);
    EXPECT_NE(session, nullptr);
    EXPECT_EQ(m_uninit(session), 0);

    WriteScript(R"({"init": {"code": 0, "handle": false}})");
    session = reinterpret_cast<CvzSession>(1);
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
    EXPECT_EQ(m_uninit(session), 0);
    EXPECT_EQ(m_uninit(session), 6) << "a session ends once";
    m_free(nullptr);
}

TEST_F(CvzcModuleTest, RegisterIsRecordedWithItsTargetAndChannel) {
    auto reg = Find<NexiloRegisterFn>("nexilo_register");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    const CvzCredentials credentials{"T", "A", "D"};
    const CvzTarget target{"all", "all"};
    const CvzCallbacks callbacks{nullptr, nullptr, nullptr};
    EXPECT_EQ(reg(session, &credentials, &target, "notification", kPushChannel, &callbacks), 0);
    EXPECT_EQ(reg(session, nullptr, &target, "event", kPushChannel, &callbacks), 87);
    EXPECT_NE(Recorded().find(R"("register":{"type":"notification","channel":"secure_web")"),
              std::string::npos)
        << Recorded();
    EXPECT_EQ(m_uninit(session), 0);
}

} // namespace
