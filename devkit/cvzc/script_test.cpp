#include "devkit/cvzc/script.h"

#include <gtest/gtest.h>

namespace devkit::cvzc {
namespace {

constexpr const char* kRequest =
    R"({"jsonrpc": "2.0", "method": "getInfo", "id": 7, "params": {}})";

constexpr const char* kScript = R"({
  "services": {
    "svc/error": {"getInfo": {"error": {"code": 3}}},
    "svc/raw": {"getInfo": {"raw": "[1, 2]", "kind": 2}},
    "svc/transport": {"getInfo": {"transport_error": 12029}},
    "svc/silent": {"getInfo": {"no_reply": true}},
    "svc/any": {"*": {"result": true}, "other": {"result": false}}
  }
})";

// The whole answer as one text, so that a table row can say it.
std::string Describe(const Answer& answer) {
    const char* kinds[] = {"reply", "transport error", "no reply"};
    return std::string(kinds[static_cast<int>(answer.kind)]) + " " + std::to_string(answer.code) +
           " kind " + std::to_string(answer.replyKind) + ": " + answer.text;
}

struct DecideCase {
    const char* name;
    const char* service;
    const char* method;
    const char* answer; // as Describe gives it
    const char* request = kRequest;
};

class ScriptDecideTest : public testing::TestWithParam<DecideCase> {};

TEST_P(ScriptDecideTest, AnswersAsScripted) {
    const DecideCase& c = GetParam();
    const Script script = Script::Parse(kScript);
    ASSERT_EQ(script.Error(), "");
    EXPECT_EQ(Describe(script.Decide(c.service, c.method, c.request)), c.answer);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ScriptDecideTest,
    testing::Values(
        DecideCase{"Error", "svc/error", "getInfo",
                   R"(reply 0 kind 1: {"jsonrpc":"2.0","id":7,"error":{"code":3}})"},
        DecideCase{"RawWithKind", "svc/raw", "getInfo", "reply 0 kind 2: [1, 2]"},
        DecideCase{"Transport", "svc/transport", "getInfo", "transport error 12029 kind 1: "},
        DecideCase{"NoReply", "svc/silent", "getInfo", "no reply 0 kind 1: "},
        DecideCase{"AnyMethod", "svc/any", "whatever",
                   R"(reply 0 kind 1: {"jsonrpc":"2.0","id":7,"result":true})"},
        DecideCase{"OwnAnswerBeforeAny", "svc/any", "other",
                   R"(reply 0 kind 1: {"jsonrpc":"2.0","id":7,"result":false})"},
        DecideCase{"RequestWithoutId", "svc/any", "x",
                   R"(reply 0 kind 1: {"jsonrpc":"2.0","id":null,"result":true})", "not json"},
        DecideCase{"NotFound", "svc/none", "getInfo",
                   R"(reply 0 kind 1: {"jsonrpc":"2.0","id":7,"error":{"code":-32601,)"
                   R"("message":"Method not found: svc/none/getInfo"}})"}),
    [](const testing::TestParamInfo<DecideCase>& info) { return info.param.name; });

TEST(ScriptTest, BrokenScriptsSayWhyAndFailEveryAsk) {
    for (const char* text : {"{\"services\": ", "[1]", "{\"services\": 3}"}) {
        const Script script = Script::Parse(text);
        EXPECT_NE(script.Error(), "") << text;
        EXPECT_EQ(Describe(script.Decide("svc/result", "getInfo", kRequest)),
                  "transport error " + std::to_string(kCodeBadScript) + " kind 1: ")
            << text;
    }
    EXPECT_NE(Script::Parse("{\"services\": ").Error().find("line 1"), std::string::npos);
}

TEST(ScriptTest, MethodOfReadsOnlyAStringMethod) {
    EXPECT_EQ(MethodOf(kRequest), "getInfo");
    EXPECT_EQ(MethodOf(R"({"method": 1})"), std::nullopt);
    EXPECT_EQ(MethodOf("garbage"), std::nullopt);
}

} // namespace
} // namespace devkit::cvzc
