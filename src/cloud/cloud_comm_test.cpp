#include "cloud/cloud_comm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    std::uint32_t replyKind = 1;
    const char* replyText = R"({"result": {"ok": true}})"; // null: no reply

    int initCalls = 0;
    int uninitCalls = 0;
    std::vector<std::pair<std::int32_t, std::int32_t>> options;
    std::vector<std::string> requests;
    std::string replyBytes; // what the last reply points to
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
    g_library->requests.emplace_back(request->data, request->size);
    if (g_library->replyText != nullptr) {
        std::string& bytes = g_library->replyBytes = g_library->replyText;
        *reply = new cloud::CvzReply{0, g_library->replyKind, bytes.data(),
                                     static_cast<std::uint32_t>(bytes.size())};
    }
    return g_library->askResult;
}
void NEXILO_CALL FakeFree(cloud::CvzReply* reply) {
    ++g_library->freed;
    g_library->wipedReply.assign(reply->data, reply->size);
    delete reply;
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

cv::Json Parsed(const std::string& text) {
    cv::Json json;
    json.Parse(text);
    return json;
}

cv::Json Source() {
    return Parsed(R"({"user_token": "T", "app_id": "A", "device_id": "D"})");
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

    CloudComm::LogCallback Sink() {
        return [this](const std::wstring& line) { m_log += line + L"|"; };
    }
    // An initialised object, ready for Ask.
    std::unique_ptr<CloudComm> Ready() {
        auto comm = std::make_unique<CloudComm>(FakeTable);
        EXPECT_EQ(comm->Init(Source(), Sink()), 0u);
        return comm;
    }
    // Asks through `comm`; the answer lands in m_result and m_isError (true before the call).
    std::uint32_t Ask(CloudComm& comm, const cv::Json& params = cv::Json(),
                      const cv::Json& destination = cv::Json()) {
        m_isError = true;
        return comm.Ask(L"nexilo/user_info", L"getInfo", params, m_result, &m_isError, destination);
    }

    FakeLibrary m_library;
    std::wstring m_log; // each line followed by "|"
    cv::Json m_result;
    bool m_isError = false;
};

TEST_F(CloudCommTest, OnlyTheHandleDecidesWhetherInitSucceeded) {
    m_library.initResult = 5;
    auto withHandle = std::make_unique<CloudComm>(FakeTable);
    EXPECT_EQ(withHandle->Init(Source(), Sink()), 0u);
    EXPECT_EQ(m_library.options, (std::vector<std::pair<std::int32_t, std::int32_t>>{{1, 1}}));
    withHandle.reset();
    EXPECT_EQ(m_library.uninitCalls, 1);

    m_library.initResult = 0;
    m_library.initWritesHandle = false;
    CloudComm without(FakeTable);
    EXPECT_EQ(without.Init(Source(), Sink()), 31u);
    EXPECT_THAT(m_log, HasSubstr(L"[Cloudcomm][Log::LogInfo][23] cvzc init failed with error 0"));
}

TEST_F(CloudCommTest, BadSourcesFailBeforeTheLibraryIsTouched) {
    cv::Json numberDevice = Parsed(R"({"user_token": "T", "app_id": "A", "device_id": 1})");
    cv::Json missingToken = Parsed(R"({"app_id": "A", "device_id": "D"})");
    const std::pair<cv::Json, const wchar_t*> cases[] = {
        {numberDevice, L"Invalid zephra source data|"},
        {missingToken, L"Invalid zephra source data|"},
        {cv::Json(), L"source is null|"}};
    for (const auto& [source, message] : cases) {
        CloudComm comm(FakeTable);
        m_log.clear();
        EXPECT_EQ(comm.Init(source, Sink()), 31u);
        EXPECT_THAT(m_log, HasSubstr(message));
        EXPECT_THAT(m_log, HasSubstr(L"LoadSourceJson failed|"));
    }
    EXPECT_EQ(m_library.initCalls, 0);
}

TEST_F(CloudCommTest, WithoutTheLibraryInitAndAskFail) {
    CloudComm comm(NoTable);
    EXPECT_EQ(comm.Init(Source(), Sink()), 31u);
    EXPECT_THAT(m_log, HasSubstr(L"InitLib was not called. Init failed"));
    EXPECT_EQ(Ask(comm), 0xFFFFFFFFu);
    EXPECT_FALSE(m_isError);
    EXPECT_THAT(m_log, HasSubstr(L"cvzc is not loaded"));
}

TEST_F(CloudCommTest, EnvelopeCountsIdsCarriesTheSourceAndLetsCallersReplaceMembers) {
    auto comm = Ready();
    EXPECT_EQ(comm->SetSourceField(L"zone", L"eu"), 0u);
    EXPECT_EQ(comm->SetSourceField(L"app_id", L"replaced"), 0u);
    EXPECT_EQ(Ask(*comm, Parsed(R"({"b": 1, "a": [true]})"), Parsed(R"({"app_id": "other"})")), 0u);
    EXPECT_EQ(Ask(*comm, Parsed(R"({"nexilo_source": 1})"), Parsed("[1]")), 0u);
    ASSERT_EQ(m_library.requests.size(), 2u);
    EXPECT_EQ(m_library.requests[0],
              R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1, "params": {"nexilo_source": )"
              R"({"user_token": "T", "app_id": "replaced", "device_id": "D", "zone": "eu"}, )"
              R"("nexilo_destination": {"app_id": "other"}, "a": [true], "b": 1}})");
    EXPECT_EQ(m_library.requests[1],
              R"({"jsonrpc": "2.0", "method": "getInfo", "id": 2, "params": )"
              R"({"nexilo_source": 1}})");
}

struct ReplyCase {
    const char* name;
    std::int32_t askResult;
    std::uint32_t kind;
    const char* text; // null: no reply
    std::uint32_t expected;
    bool isError;
    const char* result; // compact text of the result, or null when it must stay untouched
    const wchar_t* message;
};

class CloudCommReplyTest : public CloudCommTest, public testing::WithParamInterface<ReplyCase> {};

TEST_P(CloudCommReplyTest, JudgesTheReply) {
    const ReplyCase& c = GetParam();
    m_library.askResult = c.askResult;
    m_library.replyKind = c.kind;
    m_library.replyText = c.text;
    auto comm = Ready();
    m_result = Parsed(R"({"untouched": 1})");
    EXPECT_EQ(Ask(*comm), c.expected);
    EXPECT_EQ(m_isError, c.isError);
    EXPECT_EQ(m_result.Dump(cv::kJsonCompact | cv::kJsonEncodeAny),
              c.result ? c.result : R"({"untouched":1})");
    EXPECT_THAT(m_log, HasSubstr(c.message ? c.message : L""));
    EXPECT_EQ(m_library.freed, c.text ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, CloudCommReplyTest,
    testing::Values(
        ReplyCase{"ErrorWinsOverResult", 0, 1, R"({"error": {"c": 1}, "result": {"r": 2}})", 0,
                  true, R"({"c":1})", nullptr},
        ReplyCase{"NullErrorIsAnError", 0, 1, R"({"error": null})", 0, true, "null", nullptr},
        ReplyCase{"ScalarResultIsWrapped", 0, 1, R"({"result": true})", 0, false,
                  R"({"result":true})", nullptr},
        ReplyCase{"ArrayResultIsWrapped", 0, 1, R"({"result": [1, 2]})", 0, false,
                  R"({"result":[1,2]})", nullptr},
        ReplyCase{"NeitherMemberIsAnEmptyObject", 0, 1, R"({"jsonrpc": "2.0"})", 0, false, "{}",
                  nullptr},
        ReplyCase{"ArrayReplyFails", 0, 1, "[1, 2]", 0xFFFFFFFF, false, nullptr,
                  L"Response from server is not json|[Cloudcomm][Log::LogInfo][23] "
                  L"ParseServerResponse failed\n|"},
        ReplyCase{"BrokenTextFails", 0, 1, "{\"result\": ", 0xFFFFFFFF, false, nullptr,
                  L"Response from server is not json"},
        ReplyCase{"OtherKindFails", 0, 2, R"({"result": {}})", 0xFFFFFFFF, false, nullptr,
                  L"zephra ask response is null\n"},
        ReplyCase{"NoReplyFails", 0, 1, nullptr, 0xFFFFFFFF, false, nullptr,
                  L"Null response from server|"},
        ReplyCase{"TransportCodeComesBack", 12029, 1, nullptr, 12029, false, nullptr,
                  L"zephra ask failed with code 12029\n"}),
    [](const testing::TestParamInfo<ReplyCase>& info) { return info.param.name; });

TEST_F(CloudCommTest, AParsedReplyIsWipedBeforeItGoesBackButAFailedOneIsNot) {
    auto comm = Ready();
    EXPECT_EQ(Ask(*comm), 0u);
    EXPECT_EQ(m_result.Dump(cv::kJsonCompact), R"({"ok":true})");
    EXPECT_EQ(m_library.wipedReply, std::string(std::strlen(m_library.replyText), '\0'));
    m_library.replyText = "[1]";
    Ask(*comm);
    EXPECT_EQ(m_library.wipedReply, "[1]");
}

} // namespace
} // namespace nxp
