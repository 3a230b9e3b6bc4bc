#include "foundation/value_json.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <string>
#include <vector>

namespace cv {
namespace {

std::wstring Render(const Value& value) {
    StringW text = value.ToString();
    return std::wstring(text.GetString(), text.GetLength());
}

Value FromText(const char* text, std::uint32_t flags = kJsonDecodeAny) {
    Json json;
    EXPECT_TRUE(json.Parse(text, flags)) << text;
    return ValueFromJson(json);
}

TEST(ValueJsonTest, JsonIntegersKeepTheirLow32BitsAsSigned) {
    const struct {
        const char* text;
        double number;
    } cases[] = {
        {"1500000000000", 1056413696}, // 0x15D_3EF79800
        {"3000000000", -1294967296},
        {"4294967296", 0},
        {"4294967297", 1},
        {"2147483648", INT32_MIN},
        {"-1", -1},
        {"-4294967297", -1},
        {"1.5", 1.5},
        {"-0.25", -0.25},
        {"1e300", 1e300},
    };
    for (const auto& c : cases) {
        Value value = FromText(c.text);
        EXPECT_EQ(value.GetType(), Value::Type::kNumber) << c.text;
        EXPECT_EQ(value.AsNumber(), c.number) << c.text;
    }
}

TEST(ValueJsonTest, NumbersBecomeTruncatedIntegers) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double number;
        std::int64_t integer;
    } cases[] = {
        {1.5, 1},
        {0.5, 0},
        {-1.9, -1},
        {9007199254740993.0, 9007199254740992},
        {-9223372036854775808.0, INT64_MIN},
        {9223372036854775808.0, INT64_MIN},
        {-1e19, INT64_MIN},
        {nan, INT64_MIN},
        {std::numeric_limits<double>::infinity(), INT64_MIN},
    };
    for (const auto& c : cases) {
        Json json = ValueToJson(Value(c.number));
        EXPECT_TRUE(json.IsInteger()) << c.number;
        EXPECT_EQ(json.AsInt64(), c.integer) << c.number;
    }
}

TEST(ValueJsonTest, ObjectsArriveInKeyOrder) {
    Value dict = FromText(R"({"b":1,"a":{"d":[],"c":null},"\u00e9":true})");
    std::vector<std::wstring> keys;
    for (auto [key, value] : dict) {
        keys.emplace_back(key.GetString(), key.GetLength());
    }
    EXPECT_EQ(keys, (std::vector<std::wstring>{L"a", L"b", L"\u00e9"}));
    EXPECT_EQ(Render(dict),
              L"{ \"a\" : { \"c\" : null, \"d\" : [  ] }, \"b\" : 1, \"\u00e9\" : true }");
    EXPECT_EQ(dict.At(L"a").At(L"d").GetType(), Value::Type::kArray);
}

TEST(ValueJsonTest, OtherKinds) {
    EXPECT_EQ(ValueFromJson(Json()).GetType(), Value::Type::kNull);
    EXPECT_EQ(FromText("null").GetType(), Value::Type::kNull);
    EXPECT_EQ(FromText("false").GetType(), Value::Type::kBool);
    EXPECT_EQ(Render(FromText(R"(["x\u0000y", "h\u00e9", 2, [true]])", kJsonAllowNul)),
              L"[ \"x\", \"h\u00e9\", 2, [ true ] ]");
    EXPECT_EQ(Render(FromText(R"("top")")), L"top");
}

TEST(ValueJsonTest, RequestDumpsInInsertionOrder) {
    Value request;
    request[L"nexilo_source"][L"user_token"] = L"t\u00e9";
    request[L"nexilo_source"][L"app_id"] = L"a";
    request[L"count"] = 2.75;
    request[L"flags"].Append(Value(true));
    request[L"flags"].Append(Value());
    request[L"flags"].Append(Value(L"cut\0here"));
    request[L"empty"] = Value(Value::Type::kDict);
    EXPECT_EQ(ValueToJson(request).Dump(kJsonCompact),
              R"({"nexilo_source":{"user_token":"té","app_id":"a"},"count":2,)"
              R"("flags":[true,null,"cut"],"empty":{}})");

    EXPECT_TRUE(ValueToJson(Value()).IsNull());
    EXPECT_TRUE(ValueToJson(Value(L"s")).IsString());
    EXPECT_TRUE(ValueToJson(Value(Value::Type::kArray)).IsArray());
}

TEST(ValueJsonTest, RoundTripKeepsWhatTheMappingKeeps) {
    Value source = FromText(R"({"s":"text","n":-7,"list":[1,{"k":"v"}],"b":false})");
    Value again = ValueFromJson(ValueToJson(source));
    EXPECT_EQ(Render(again), Render(source));
}

} // namespace
} // namespace cv
