#include "foundation/value_json.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <string>

namespace cv {
namespace {

std::wstring Render(const Value& value) {
    return value.ToString().GetString();
}

Value FromText(const char* text) {
    Json json;
    EXPECT_TRUE(json.Parse(text, kJsonDecodeAny)) << text;
    return ValueFromJson(json);
}

TEST(ValueJsonTest, JsonIntegersKeepTheirLow32BitsAsSigned) {
    const struct {
        const char* text;
        double number;
    } cases[] = {
        {"1500000000000", 1056413696}, // 0x15D_3EF79800
        {"3000000000", -1294967296},   {"4294967297", 1}, {"2147483648", INT32_MIN},
        {"-4294967297", -1},           {"-0.25", -0.25},  {"1e300", 1e300},
    };
    for (const auto& c : cases) {
        const Value value = FromText(c.text);
        EXPECT_EQ(value.GetType(), Value::Type::kNumber) << c.text;
        EXPECT_EQ(value.AsNumber(), c.number) << c.text;
    }
}

TEST(ValueJsonTest, NumbersBecomeTruncatedIntegers) {
    const struct {
        double number;
        std::int64_t integer;
    } cases[] = {
        {1.5, 1},
        {-1.9, -1},
        {9007199254740993.0, 9007199254740992},
        {-9223372036854775808.0, INT64_MIN},
        {9223372036854775808.0, INT64_MIN},
        {std::numeric_limits<double>::quiet_NaN(), INT64_MIN},
        {std::numeric_limits<double>::infinity(), INT64_MIN},
    };
    for (const auto& c : cases) {
        const Json json = ValueToJson(Value(c.number));
        EXPECT_TRUE(json.IsInteger()) << c.number;
        EXPECT_EQ(json.AsInt64(), c.integer) << c.number;
    }
}

// Objects arrive in key order and leave in insertion order.
TEST(ValueJsonTest, ObjectShapesBothWays) {
    const Value dict = FromText(R"({"b":1,"a":{"d":[],"c":null},"\u00e9":[false,"x"]})");
    std::wstring order;
    for (auto [key, value] : dict) {
        order += key.GetString();
    }
    EXPECT_EQ(order, L"ab\u00e9");
    EXPECT_EQ(Render(dict.At(L"a")), L"{ \"c\" : null, \"d\" : [  ] }");
    EXPECT_EQ(Render(dict.At(L"\u00e9")), L"[ false, \"x\" ]");

    Value request;
    request[L"nexilo_source"][L"user_token"] = L"t\u00e9";
    request[L"nexilo_source"][L"app_id"] = L"a";
    request[L"count"] = 2.75;
    request[L"flags"].Append(Value());
    request[L"empty"] = Value(Value::Type::kDict);
    EXPECT_EQ(ValueToJson(request).Dump(kJsonCompact),
              R"({"nexilo_source":{"user_token":"té","app_id":"a"},"count":2,)"
              R"("flags":[null],"empty":{}})");
}

} // namespace
} // namespace cv
