#include "devkit/cvzc/script.h"

#include <gtest/gtest.h>

namespace devkit::cvzc {
namespace {

constexpr const char* kRequest =
    R"({"jsonrpc": "2.0", "method": "getInfo", "id": 7, "params": {}})";

constexpr const char* kScript = R"({
  "init": {"code": 5, "handle": false},
  "services": {
    "svc/result": {"getInfo": {"result": {"email": "a@b.c"}}},
    "svc/error": {"getInfo": {"error": {"code": 3}}},
    "svc/raw": {"getInfo": {"raw": "[1, 2]", "kind": 2}},
    "svc/transport": {"getInfo": {"transport_error": 12029}},
    "svc/silent": {"getInfo": {"no_reply": true}},
    "svc/any": {"*": {"result": true}, "other": {"result": false}}
  }
})";

struct DecideCase {
    const char* service;
    const char* method;
    Answer::Kind kind;
    std::int32_t code;
    std::uint32_t replyKind;
    const char* text;
};

class ScriptDecideTest : public testing::TestWithParam<DecideCase> {};

TEST_P(ScriptDecideTest, AnswersAsScripted) {
    const auto& c = GetParam();
    const Script script = Script::Parse(kScript);
    ASSERT_EQ(script.Error(), "");
    const Answer answer = script.Decide(c.service, c.method, kRequest);
    EXPECT_EQ(answer.kind, c.kind);
    EXPECT_EQ(answer.code, c.code);
    EXPECT_EQ(answer.replyKind, c.replyKind);
    EXPECT_EQ(answer.text, c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ScriptDecideTest,
    testing::Values(DecideCase{"svc/result", "getInfo", Answer::Kind::Reply, 0, 1,
                               R"({"jsonrpc":"2.0","id":7,"result":{"email":"a@b.c"}})"},
                    DecideCase{"svc/error", "getInfo", Answer::Kind::Reply, 0, 1,
                               R"({"jsonrpc":"2.0","id":7,"error":{"code":3}})"},
                    DecideCase{"svc/raw", "getInfo", Answer::Kind::Reply, 0, 2, "[1, 2]"},
                    DecideCase{"svc/transport", "getInfo", Answer::Kind::TransportError, 12029, 1,
                               ""},
                    DecideCase{"svc/silent", "getInfo", Answer::Kind::NoReply, 0, 1, ""},
                    DecideCase{"svc/any", "whatever", Answer::Kind::Reply, 0, 1,
                               R"({"jsonrpc":"2.0","id":7,"result":true})"},
                    DecideCase{"svc/any", "other", Answer::Kind::Reply, 0, 1,
                               R"({"jsonrpc":"2.0","id":7,"result":false})"},
                    DecideCase{"svc/none", "getInfo", Answer::Kind::Reply, 0, 1,
                               R"({"jsonrpc":"2.0","id":7,"error":{"code":-32601,)"
                               R"("message":"Method not found: svc/none/getInfo"}})"}));

TEST(ScriptTest, InitBehaviourComesFromTheScriptOrDefaults) {
    const InitBehaviour scripted = Script::Parse(kScript).Init();
    EXPECT_EQ(scripted.code, 5);
    EXPECT_FALSE(scripted.handle);

    const InitBehaviour defaults = Script::Parse("").Init();
    EXPECT_EQ(defaults.code, 0);
    EXPECT_TRUE(defaults.handle);
}

TEST(ScriptTest, BrokenScriptsSayWhyAndFailEveryAsk) {
    for (const char* text : {"{\"services\": ", "[1]", "{\"services\": 3}"}) {
        const Script script = Script::Parse(text);
        EXPECT_NE(script.Error(), "") << text;
        const Answer answer = script.Decide("svc/result", "getInfo", kRequest);
        EXPECT_EQ(answer.kind, Answer::Kind::TransportError) << text;
        EXPECT_EQ(answer.code, kCodeBadScript) << text;
    }
    EXPECT_NE(Script::Parse("{\"services\": ").Error().find("line 1"), std::string::npos);
}

TEST(ScriptTest, ReplyWithoutAnIdInTheRequestCarriesNull) {
    const Script script = Script::Parse(kScript);
    EXPECT_EQ(script.Decide("svc/any", "x", "not json").text,
              R"({"jsonrpc":"2.0","id":null,"result":true})");
}

TEST(ScriptTest, MethodOfReadsOnlyAStringMethod) {
    EXPECT_EQ(MethodOf(kRequest), "getInfo");
    EXPECT_EQ(MethodOf(R"({"method": 1})"), std::nullopt);
    EXPECT_EQ(MethodOf("garbage"), std::nullopt);
}

} // namespace
} // namespace devkit::cvzc
