// The module's plain exports as another process of the product calls them: through the module's
// export table, with the dev kit's node control tool and cloud library beside the module.
#include "nexilo/cv_value.h"
#include "nexilo/flat_exports.h"
#include "platform/module_loader.h"
#include "platform/testing/scratch_home.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

class FlatExportsTest : public testing::Test {
protected:
    void SetUp() override {
        m_module = platform::LoadModule(L"NexiloAgent.dll").module;
        ASSERT_TRUE(m_module);
        m_getNexiloInfo = Find<GetNexiloInfoFn>("GetNexiloInfo");
        m_setStatus = Find<SetStatusFn>("SetStatus");
        m_addApp = Find<AddAppFn>("AddApp");
        m_removeApp = Find<RemoveAppFn>("RemoveApp");
        m_getInfo = Find<GetInfoFn>("GetInfo");
        m_getAgentField = Find<GetAgentFieldFn>("GetAgentField");
    }
    template <class Fn>
    Fn Find(const char* name) {
        auto found = platform::FindExport(m_module.get(), name);
        EXPECT_NE(found.address, nullptr) << name;
        return reinterpret_cast<Fn>(found.address);
    }
    void Write(const char* folder, const char* file, const std::string& text) {
        m_home.Write(std::filesystem::path(folder) / file, text);
    }
    std::string Read(const char* folder, const char* file) const {
        return m_home.Read(std::filesystem::path(folder) / file);
    }

    platform_testing::ScratchHome m_home;
    platform::UniqueHModule m_module;
    GetNexiloInfoFn m_getNexiloInfo = nullptr;
    SetStatusFn m_setStatus = nullptr;
    AddAppFn m_addApp = nullptr;
    RemoveAppFn m_removeApp = nullptr;
    GetInfoFn m_getInfo = nullptr;
    GetAgentFieldFn m_getAgentField = nullptr;
};

TEST_F(FlatExportsTest, GetNexiloInfoGivesTheSignedInUserInReverseOrder) {
    cv::StringW deviceId(L"old device");
    cv::StringW userToken(L"old token");
    EXPECT_FALSE(m_getNexiloInfo(deviceId, userToken)) << "no user signed in";
    EXPECT_STREQ(deviceId.GetString(), L"old device");

    Write("node", "state.json", R"({"user": {"user_token": "T\u00e9", "device_id": "D"}})");
    ASSERT_TRUE(m_getNexiloInfo(deviceId, userToken));
    EXPECT_STREQ(userToken.GetString(), L"T\u00e9");
    EXPECT_STREQ(deviceId.GetString(), L"D");
}

TEST_F(FlatExportsTest, ApplicationsAreRegisteredChangedAndRemovedThroughTheTool) {
    EXPECT_TRUE(m_addApp(L"app-1", L"My App", 2, L"1.0"));
    EXPECT_TRUE(m_setStatus(L"app-1", 0));
    EXPECT_THAT(Read("node", "state.json"), HasSubstr(R"("status": "enabled")"));
    EXPECT_FALSE(m_setStatus(L"app-1", 3)) << "a status without a word starts nothing";
    EXPECT_FALSE(m_addApp(L"app-2", L"X", -1, L"1"));
    EXPECT_TRUE(m_removeApp(L"app-1"));
    EXPECT_FALSE(m_removeApp(L"app-1")) << "the tool's non-zero exit code";
    EXPECT_FALSE(m_removeApp(nullptr));
    EXPECT_THAT(Read("node", "state.json"), testing::Not(HasSubstr("app-2")));
}

TEST_F(FlatExportsTest, GetAgentFieldTrimsTheEndOnly) {
    Write("node", "state.json", R"({"agent_fields": {"globalex": {"anon_id": " abc \t "}}})");
    std::string value = "untouched";
    ASSERT_TRUE(m_getAgentField(L"globalex", L"anon_id", value));
    EXPECT_EQ(value, " abc");
    EXPECT_FALSE(m_getAgentField(L"globalex", L"missing", value));
}

TEST_F(FlatExportsTest, GetInfoAsksTheCloudWithTheToolsIdentity) {
    Write("node", "state.json", R"({"user": {"user_token": "T", "device_id": "D"}})");
    Write("cloud", "script.json",
          R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"email": "a@b.c"}}}}})");
    cv::StringW email;
    ASSERT_TRUE(m_getInfo(email, cv::StringW(L"com.example")));
    EXPECT_STREQ(email.GetString(), L"a@b.c");
    const std::string recorded = Read("cloud", "requests.jsonl");
    EXPECT_THAT(recorded, HasSubstr(R"(\"nexilo_source\": {\"user_token\": \"T\", )"
                                    R"(\"device_id\": \"D\", \"app_id\": \"com.example\"})"));
}

struct ReplyCase {
    const char* name;
    const char* answer;
    bool result;
    const wchar_t* email;
};

class GetInfoReplyTest : public FlatExportsTest, public testing::WithParamInterface<ReplyCase> {};

TEST_P(GetInfoReplyTest, JudgesTheReply) {
    Write("node", "state.json", R"({"user": {"user_token": "T", "device_id": "D"}})");
    Write("cloud", "script.json",
          std::string(R"({"services": {"nexilo/user_info": {"getInfo": )") + GetParam().answer +
              "}}}");
    cv::StringW email(L"before");
    EXPECT_EQ(m_getInfo(email, cv::StringW(L"A")), GetParam().result);
    EXPECT_STREQ(email.GetString(), GetParam().email);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, GetInfoReplyTest,
    testing::Values(ReplyCase{"ObjectError", R"({"error": {"code": 1}})", false, L"before"},
                    ReplyCase{"TransportFailure", R"({"transport_error": 12029})", false,
                              L"before"},
                    ReplyCase{"NoEmail", R"({"result": {"name": "x"}})", true, L""}),
    [](const testing::TestParamInfo<ReplyCase>& info) { return info.param.name; });

TEST_F(FlatExportsTest, GetInfoLetsTheValueExceptionOfATextOrNullErrorOut) {
    Write("node", "state.json", R"({"user": {"user_token": "T", "device_id": "D"}})");
    // Such errors pass the judgement, and reading "email" of anything but a dictionary throws.
    for (const char* error : {R"("denied")", "null"}) {
        Write("cloud", "script.json",
              std::string(R"({"services": {"nexilo/user_info": {"getInfo": {"error": )") + error +
                  "}}}}");
        cv::StringW email;
        EXPECT_THROW(m_getInfo(email, cv::StringW(L"A")), cv::ValueException) << error;
    }
}

TEST_F(FlatExportsTest, GetInfoWithoutAUserAsksNothing) {
    cv::StringW email(L"before");
    EXPECT_FALSE(m_getInfo(email, cv::StringW(L"A")));
    EXPECT_EQ(Read("cloud", "requests.jsonl"), "");
}

} // namespace
