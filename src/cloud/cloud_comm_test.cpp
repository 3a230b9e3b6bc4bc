#include "cloud/cloud_comm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace nxp {
namespace {

using testing::HasSubstr;

// A library in the test: records what it is given and answers what the test sets.
struct FakeLibrary {
    std::int32_t initResult = 0;
    bool initWritesHandle = true;
    std::int32_t askResult = 0;
    bool reply = true;
    std::uint32_t replyKind = 1;
    std::string replyText = R"({"result": {"ok": true}})";

    int initCalls = 0;
    int uninitCalls = 0;
    std::vector<std::pair<std::int32_t, std::int32_t>> options;
    std::vector<std::string> services;
    std::vector<std::string> requests;
    std::vector<std::int32_t> limits;
    std::vector<std::int32_t> kinds;
    std::string wipedReply; // the reply's bytes as they came back to be freed
    int freed = 0;
};

FakeLibrary* g_library = nullptr;
int g_session = 0;

std::int32_t NEXILO_CALL FakeInit(cloud::CvzSession* session) {
    ++g_library->initCalls;
    *session = g_library->initWritesHandle ? &g_session : nullptr;
    return g_library->initResult;
}
std::int32_t NEXILO_CALL FakeUninit(cloud::CvzSession) {
    ++g_library->uninitCalls;
    return 0;
}
std::int32_t NEXILO_CALL FakeAsk(cloud::CvzSession, const cloud::CvzRequest* request,
                                 cloud::CvzReply** reply) {
    g_library->services.emplace_back(request->service);
    g_library->requests.emplace_back(request->data, request->size);
    g_library->limits.push_back(request->limit);
    g_library->kinds.push_back(request->kind);
    if (g_library->reply) {
        auto* record = static_cast<cloud::CvzReply*>(std::calloc(1, sizeof(cloud::CvzReply)));
        record->kind = g_library->replyKind;
        record->size = static_cast<std::uint32_t>(g_library->replyText.size());
        record->data = static_cast<char*>(std::malloc(record->size + 1));
        std::memcpy(record->data, g_library->replyText.c_str(), record->size + 1);
        *reply = record;
    }
    return g_library->askResult;
}
void NEXILO_CALL FakeFree(cloud::CvzReply* reply) {
    ++g_library->freed;
    g_library->wipedReply.assign(reply->data, reply->size);
    std::free(reply->data);
    std::free(reply);
}
std::int32_t NEXILO_CALL FakeSetOption(cloud::CvzSession, std::int32_t option, std::int32_t value) {
    g_library->options.emplace_back(option, value);
    return 0;
}

cloud::CloudClientTable g_table{};
cloud::CloudClientTable* FakeTable() {
    return &g_table;
}
cloud::CloudClientTable* NoTable() {
    return nullptr;
}

template <class Fn>
void Put(cloud::CloudExport which, Fn fn) {
    g_table.functions[static_cast<std::size_t>(which)] = reinterpret_cast<void*>(fn);
}

cv::Json Source(const char* userToken = "T", const char* appId = "A", const char* deviceId = "D") {
    cv::Json source;
    source.Pack("{s:s, s:s, s:s}", "user_token", userToken, "app_id", appId, "device_id", deviceId);
    return source;
}

cv::Json Parsed(const std::string& text) {
    cv::Json json;
    json.Parse(text);
    return json;
}

class CloudCommTest : public testing::Test {
protected:
    void SetUp() override {
        g_library = &m_library;
        Put(cloud::CloudExport::Init, FakeInit);
        Put(cloud::CloudExport::Uninit, FakeUninit);
        Put(cloud::CloudExport::Ask, FakeAsk);
        Put(cloud::CloudExport::FreeResponse, FakeFree);
        Put(cloud::CloudExport::SetOption, FakeSetOption);
    }
    void TearDown() override { g_library = nullptr; }

    CloudComm::LogSink Sink() {
        return [this](const std::wstring& line) { m_log.push_back(line); };
    }
    std::wstring Log() const {
        std::wstring all;
        for (const auto& line : m_log) {
            all += line + L"|";
        }
        return all;
    }
    // An initialised object, ready for Ask.
    std::unique_ptr<CloudComm> Ready() {
        auto comm = std::make_unique<CloudComm>(FakeTable);
        EXPECT_EQ(comm->Init(Source(), Sink()), 0u);
        return comm;
    }
    std::uint32_t Ask(CloudComm& comm, const cv::Json& params, cv::Json& result, bool& isError,
                      const cv::Json& destination = cv::Json()) {
        isError = true;
        return comm.Ask(L"nexilo/user_info", L"getInfo", params, result, &isError, destination);
    }

    FakeLibrary m_library;
    std::vector<std::wstring> m_log;
};

TEST_F(CloudCommTest, InitOpensASessionAndSetsOptionOne) {
    auto comm = Ready();
    EXPECT_EQ(m_library.initCalls, 1);
    EXPECT_EQ(m_library.options, (std::vector<std::pair<std::int32_t, std::int32_t>>{{1, 1}}));
    comm.reset();
    EXPECT_EQ(m_library.uninitCalls, 1);
}

TEST_F(CloudCommTest, OnlyTheHandleDecidesWhetherInitSucceeded) {
    m_library.initResult = 5;
    CloudComm withHandle(FakeTable);
    EXPECT_EQ(withHandle.Init(Source(), Sink()), 0u);
    EXPECT_EQ(m_library.options.size(), 1u);

    m_library.initResult = 0;
    m_library.initWritesHandle = false;
    CloudComm without(FakeTable);
    EXPECT_EQ(without.Init(Source(), Sink()), 31u);
    EXPECT_THAT(Log(), HasSubstr(L"[Cloudcomm][Log::LogInfo][23] cvzc init failed with error 0"));
}

TEST_F(CloudCommTest, BadSourcesFailBeforeTheLibraryIsTouched) {
    cv::Json numberDevice;
    numberDevice.Pack("{s:s, s:s, s:i}", "user_token", "T", "app_id", "A", "device_id", 1);
    cv::Json missingToken;
    missingToken.Pack("{s:s, s:s}", "app_id", "A", "device_id", "D");
    for (const cv::Json& source : {numberDevice, missingToken}) {
        CloudComm comm(FakeTable);
        m_log.clear();
        EXPECT_EQ(comm.Init(source, Sink()), 31u);
        EXPECT_THAT(Log(), HasSubstr(L"Invalid zephra source data|"));
        EXPECT_THAT(Log(), HasSubstr(L"LoadSourceJson failed|"));
    }
    CloudComm empty(FakeTable);
    m_log.clear();
    EXPECT_EQ(empty.Init(cv::Json(), Sink()), 31u);
    EXPECT_THAT(Log(), HasSubstr(L"source is null|"));
    EXPECT_EQ(m_library.initCalls, 0);
}

TEST_F(CloudCommTest, WithoutTheLibraryInitAndAskFail) {
    CloudComm comm(NoTable);
    EXPECT_EQ(comm.Init(Source(), Sink()), 31u);
    EXPECT_THAT(Log(), HasSubstr(L"InitLib was not called. Init failed"));
    cv::Json result;
    bool isError = true;
    EXPECT_EQ(Ask(comm, cv::Json(), result, isError), 0xFFFFFFFFu);
    EXPECT_FALSE(isError);
    EXPECT_THAT(Log(), HasSubstr(L"cvzc is not loaded"));
}

TEST_F(CloudCommTest, EnvelopeCarriesTheIdentityCountsIdsAndLetsCallersReplaceMembers) {
    auto comm = Ready();
    cv::Json result;
    bool isError = false;
    cv::Json destination = Parsed(R"({"app_id": "other"})");
    EXPECT_EQ(Ask(*comm, Parsed(R"({"b": 1, "a": [true]})"), result, isError, destination), 0u);
    EXPECT_EQ(Ask(*comm, Parsed(R"({"nexilo_source": 1})"), result, isError, Parsed("[1]")), 0u);
    ASSERT_EQ(m_library.requests.size(), 2u);

    EXPECT_EQ(m_library.requests[0],
              R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1, "params": {"nexilo_source": )"
              R"({"user_token": "T", "app_id": "A", "device_id": "D"}, "nexilo_destination": )"
              R"({"app_id": "other"}, "a": [true], "b": 1}})");
    EXPECT_EQ(m_library.requests[1],
              R"({"jsonrpc": "2.0", "method": "getInfo", "id": 2, "params": )"
              R"({"nexilo_source": 1}})");
    EXPECT_EQ(m_library.services[0], "nexilo/user_info");
    EXPECT_EQ(m_library.limits[0], 5000);
    EXPECT_EQ(m_library.kinds[0], 1);
}

TEST_F(CloudCommTest, ExtraSourceFieldsJoinInKeyOrderAndMayReplaceIdentityMembers) {
    auto comm = Ready();
    EXPECT_EQ(comm->SetSourceField(L"zone", L"eu"), 0u);
    EXPECT_EQ(comm->SetSourceField(L"app_id", L"replaced"), 0u);
    cv::Json result;
    bool isError = false;
    Ask(*comm, cv::Json(), result, isError);
    EXPECT_THAT(m_library.requests.at(0),
                HasSubstr(R"("nexilo_source": {"user_token": "T", "app_id": "replaced", )"
                          R"("device_id": "D", "zone": "eu"}})"));
}

struct ReplyCase {
    const char* name;
    std::int32_t askResult;
    bool reply;
    std::uint32_t kind;
    const char* text;
    std::uint32_t expected;
    bool isError;
    const char* result; // compact text of the result, or null when it must stay untouched
    const wchar_t* message;
};

class CloudCommReplyTest : public CloudCommTest, public testing::WithParamInterface<ReplyCase> {};

TEST_P(CloudCommReplyTest, JudgesTheReply) {
    const ReplyCase& c = GetParam();
    m_library.askResult = c.askResult;
    m_library.reply = c.reply;
    m_library.replyKind = c.kind;
    m_library.replyText = c.text;
    auto comm = Ready();
    cv::Json result = Parsed(R"({"untouched": 1})");
    bool isError = true;
    EXPECT_EQ(Ask(*comm, cv::Json(), result, isError), c.expected);
    EXPECT_EQ(isError, c.isError);
    EXPECT_EQ(result.Dump(cv::kJsonCompact | cv::kJsonEncodeAny),
              c.result ? c.result : R"({"untouched":1})");
    if (c.message) {
        EXPECT_THAT(Log(), HasSubstr(c.message));
    }
    EXPECT_EQ(m_library.freed, c.reply ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, CloudCommReplyTest,
    testing::Values(
        ReplyCase{"ErrorWinsOverResult", 0, true, 1, R"({"error": {"c": 1}, "result": {"r": 2}})",
                  0, true, R"({"c":1})", nullptr},
        ReplyCase{"NullErrorIsAnError", 0, true, 1, R"({"error": null})", 0, true, "null", nullptr},
        ReplyCase{"ObjectResult", 0, true, 1, R"({"id": 3, "result": {"r": 2}})", 0, false,
                  R"({"r":2})", nullptr},
        ReplyCase{"ScalarResultIsWrapped", 0, true, 1, R"({"result": true})", 0, false,
                  R"({"result":true})", nullptr},
        ReplyCase{"ArrayResultIsWrapped", 0, true, 1, R"({"result": [1, 2]})", 0, false,
                  R"({"result":[1,2]})", nullptr},
        ReplyCase{"NeitherMemberIsAnEmptyObject", 0, true, 1, R"({"jsonrpc": "2.0"})", 0, false,
                  "{}", nullptr},
        ReplyCase{"ArrayReplyFails", 0, true, 1, "[1, 2]", 0xFFFFFFFF, false, nullptr,
                  L"Response from server is not json|[Cloudcomm][Log::LogInfo][23] "
                  L"ParseServerResponse failed\n|"},
        ReplyCase{"BrokenTextFails", 0, true, 1, "{\"result\": ", 0xFFFFFFFF, false, nullptr,
                  L"Response from server is not json"},
        ReplyCase{"OtherKindFails", 0, true, 2, R"({"result": {}})", 0xFFFFFFFF, false, nullptr,
                  L"zephra ask response is null\n"},
        ReplyCase{"NoReplyFails", 0, false, 1, "", 0xFFFFFFFF, false, nullptr,
                  L"Null response from server|"},
        ReplyCase{"TransportCodeComesBack", 12029, false, 1, "", 12029, false, nullptr,
                  L"zephra ask failed with code 12029\n"}),
    [](const testing::TestParamInfo<ReplyCase>& info) { return info.param.name; });

TEST_F(CloudCommTest, AParsedReplyIsWipedBeforeItGoesBackButAFailedOneIsNot) {
    auto comm = Ready();
    cv::Json result;
    bool isError = false;
    Ask(*comm, cv::Json(), result, isError);
    EXPECT_EQ(m_library.wipedReply, std::string(m_library.replyText.size(), '\0'));

    m_library.replyText = "[1]";
    Ask(*comm, cv::Json(), result, isError);
    EXPECT_EQ(m_library.wipedReply, "[1]");
}

} // namespace
} // namespace nxp
