#include "devkit/cloud/rpc_service.h"

#include "devkit/cloud/json_ptr.h"
#include "devkit/cloud/testing/seeded_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace devkit::cloud;
using testing::HasSubstr;

std::string Request(const std::string& method, const std::string& source, int id = 7) {
    return R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "id": )" + std::to_string(id) +
           R"(, "params": {"nexilo_source": )" + source + "}}";
}

const std::string kGoodSource = R"({"user_token": "T1", "app_id": "A", "device_id": "D1"})";

TEST(RpcServiceTest, ServicesAnswerFromTheAccountAndDeviceOfTheSource) {
    auto store = devkit_testing::SeededStore();
    EXPECT_EQ(AnswerRpc(*store, {"nexilo/user_info", Request("getInfo", kGoodSource), "5000", "1"}),
              R"({"jsonrpc":"2.0","id":7,"result":{"email":"ada@example.com","firstname":"Ada",)"
              R"("lastname":"Lovelace","fingerprint":"fp-1"}})");
    EXPECT_EQ(AnswerRpc(*store,
                        {"nexilo/device_mgmt", Request("get_device_info", kGoodSource, 8), "", ""}),
              R"({"jsonrpc":"2.0","id":8,"result":{"display_name":"Ada's laptop",)"
              R"("device_id":"D1","app_id":"A"}})");
    EXPECT_EQ(AnswerRpc(*store, {"nexilo/ping", Request("ping", kGoodSource, 9), "", ""}),
              R"({"jsonrpc":"2.0","id":9,"result":{"status":"ok"}})");

    const auto entries = store->Entries(0, 10);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(devkit_testing::Kinds(*store), "request,request,ping");
    EXPECT_EQ(entries[0].subject, "nexilo/user_info getInfo");
    EXPECT_EQ(entries[0].timeMs, devkit_testing::kFixedTimeMs);
    EXPECT_THAT(entries[0].detail, HasSubstr(R"("limit":"5000","request_kind":"1")"));
    EXPECT_THAT(entries[0].detail, HasSubstr(R"("request":{"jsonrpc":"2.0")"));
    EXPECT_THAT(entries[0].detail, HasSubstr(R"("reply":{"jsonrpc":"2.0")"));
}

TEST(RpcServiceTest, RefusalsAreJsonRpcErrorsAndRecorded) {
    struct Row {
        const char* name;
        std::string service;
        std::string body;
        int code;
        const char* kind;
    };
    const Row rows[] = {
        {"unknown token", "nexilo/user_info",
         Request("getInfo", R"({"user_token": "X", "app_id": "A", "device_id": "D1"})"),
         kRpcUnknownToken, "request"},
        {"another account's device", "nexilo/device_mgmt",
         Request("get_device_info", R"({"user_token": "T1", "app_id": "A", "device_id": "D2"})"),
         kRpcUnknownDevice, "request"},
        {"unknown device", "nexilo/ping",
         Request("ping", R"({"user_token": "T1", "app_id": "A", "device_id": "D9"})"),
         kRpcUnknownDevice, "ping"},
        {"source without device", "nexilo/user_info",
         Request("getInfo", R"({"user_token": "T1", "app_id": "A"})"), kRpcInvalidParams,
         "request"},
        {"source of numbers", "nexilo/user_info",
         Request("getInfo", R"({"user_token": 1, "app_id": 2, "device_id": 3})"), kRpcInvalidParams,
         "request"},
        {"unknown method", "nexilo/user_info", Request("getAll", kGoodSource), kRpcMethodNotFound,
         "request"},
        {"method of another service", "nexilo/ping", Request("getInfo", kGoodSource),
         kRpcMethodNotFound, "request"},
        {"not JSON", "nexilo/user_info", "{\"jsonrpc\": \"2.0\", \x01\xff", kRpcParseError,
         "rejected"},
        {"an array", "nexilo/user_info", "[1, 2]", kRpcInvalidRequest, "rejected"},
        {"version 1", "nexilo/user_info",
         R"({"jsonrpc": "1.0", "method": "getInfo", "params": {}})", kRpcInvalidRequest,
         "rejected"},
        {"params not an object", "nexilo/user_info",
         R"({"jsonrpc": "2.0", "method": "getInfo", "params": [1]})", kRpcInvalidRequest,
         "rejected"},
    };
    for (const Row& row : rows) {
        auto store = devkit_testing::SeededStore();
        const std::string reply = AnswerRpc(*store, {row.service, row.body, "", ""});
        JsonPtr parsed = ParseJson(reply);
        json_t* error = json_object_get(parsed.get(), "error");
        EXPECT_EQ(json_integer_value(json_object_get(error, "code")), row.code) << row.name;
        EXPECT_TRUE(json_is_string(json_object_get(error, "message"))) << row.name;
        EXPECT_EQ(json_object_get(parsed.get(), "result"), nullptr) << row.name;
        EXPECT_EQ(devkit_testing::Kinds(*store), row.kind) << row.name;
    }
}

TEST(RpcServiceTest, BytesFromTheAddressStayReadableInTheReplyAndTheRecord) {
    auto store = devkit_testing::SeededStore();
    const std::string reply =
        AnswerRpc(*store, {"bad\xff/\n", Request("getInfo", kGoodSource), "", ""});
    EXPECT_THAT(reply, HasSubstr(R"(Method not found: bad\\xff/\\x0a/getInfo)"));
    EXPECT_EQ(store->Entries(0, 1).at(0).subject, "bad\\xff/\\x0a getInfo");
}

TEST(RpcServiceTest, ExcerptKeepsPrintableTextAndCutsAtTheLimit) {
    EXPECT_EQ(Excerpt("plain text", 100), "plain text");
    EXPECT_EQ(Excerpt("a\\b\x01", 100), "a\\x5cb\\x01");
    EXPECT_EQ(Excerpt("abcdef", 3), "abc...");
}

} // namespace
