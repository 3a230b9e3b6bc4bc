#include "nexilo/cv_value.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace cv {
namespace {

std::wstring Text(const StringW& text) {
    return std::wstring(text.GetString(), text.GetLength());
}

std::wstring Render(const Value& value) {
    return Text(value.ToString());
}

// b then a, so insertion order and key order differ.
Value SmallDict() {
    Value dict;
    dict[L"b"] = 1;
    dict[L"a"] = L"x";
    return dict;
}

Value NumberArray(int count) {
    Value array(Value::Type::kArray);
    for (int i = 0; i < count; ++i) {
        array.Append(Value(i));
    }
    return array;
}

struct MisuseCase {
    const char* name;
    std::function<Value()> make;
    std::function<void(Value&)> misuse;
    const char* what;
};

TEST(ValueTest, MisuseThrowsTheExactTextAndLeavesTheValue) {
    const std::vector<MisuseCase> cases = {
        {"size of null", [] { return Value(); }, [](Value& v) { (void)v.Size(); },
         "exception: invalid type[array|dict != null], [null]"},
        {"size of number", [] { return Value(1.5); }, [](Value& v) { (void)v.Size(); },
         "exception: invalid type[array|dict != number], [1.5]"},
        {"bool into string", [] { return Value(L"abc"); }, [](Value& v) { v = true; },
         "exception: invalid type [bool != string], [abc]"},
        {"int into bool", [] { return Value(true); }, [](Value& v) { v = 5; },
         "exception: invalid type [number != bool], [true]"},
        {"double into array",
         [] {
             Value v;
             v.Append(Value(1));
             v.Append(Value(L"x"));
             return v;
         },
         [](Value& v) { v = 2.5; }, "exception: invalid type [number != array], [[ 1, \"x\" ]]"},
        {"text into number", [] { return Value(2); }, [](Value& v) { v = L"t"; },
         "exception: invalid type [string != number], [2]"},
        {"string into number", [] { return Value(2); }, [](Value& v) { v = StringW(L"t"); },
         "exception: invalid type [string != number], [2]"},
        {"number of null", [] { return Value(); }, [](Value& v) { (void)v.AsNumber(); },
         "exception: invalid type [number != null], [null]"},
        {"int of string", [] { return Value(L"x"); }, [](Value& v) { (void)v.AsInt(); },
         "exception: invalid type [number != 3], [x]"},
        {"int64 of dict", SmallDict, [](Value& v) { (void)v.AsInt64(); },
         "exception: invalid type [number != 5], [{ \"a\" : \"x\", \"b\" : 1 }]"},
        {"string of bool", [] { return Value(false); }, [](Value& v) { (void)v.AsString(); },
         "exception: invalid type [string != bool], [false]"},
        {"index of dict", SmallDict, [](Value& v) { (void)v.At(0u); },
         "exception: invalid type [array != object], [{ \"a\" : \"x\", \"b\" : 1 }]"},
        {"append to string", [] { return Value(L"s"); }, [](Value& v) { v.Append(Value(1)); },
         "exception: invalid type [array != string], [s]"},
        {"insert into array", [] { return Value(Value::Type::kArray); },
         [](Value& v) { v[L"k"] = 1; },
         "exception: invalid type [dict != array] for [key k], [[  ]]"},
        {"lookup in null", [] { return Value(); }, [](Value& v) { (void)v.At(L"k"); },
         "exception: invalid type [dict != null] for [key k], [null]"},
        {"absent key", SmallDict, [](Value& v) { (void)v.At(L"zz"); },
         "exception: key not found [zz], [{ \"a\" : \"x\", \"b\" : 1 }]"},
        {"get from string despite fallback", [] { return Value(L"s"); },
         [](Value& v) { (void)v.Get(L"k", Value(1)); },
         "exception: invalid type [dict != string] for [key k], [s]"},
        {"has key of null", [] { return Value(); }, [](Value& v) { (void)v.HasKey(nullptr); },
         "exception: invalid type [dict != null] for [key ], [null]"},
        {"iterate array", [] { return Value(Value::Type::kArray); },
         [](Value& v) { (void)v.Begin(); }, "exception: invalid type [dict != array], [[  ]]"},
        {"non-ASCII in UTF-8", [] { return Value(L"\u00e9\u20ac"); },
         [](Value& v) { (void)v.AsNumber(); },
         "exception: invalid type [number != string], [\xc3\xa9\xe2\x82\xac]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Value value = c.make();
        std::wstring before = Render(value);
        try {
            c.misuse(value);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(dynamic_cast<const ValueException*>(&e), nullptr);
            EXPECT_STREQ(e.what(), c.what);
        }
        EXPECT_EQ(Render(value), before);
    }
}

TEST(ValueTest, TypedSettersTakeTheKindOfNullAndOverwriteTheirOwn) {
    Value v;
    v = true;
    EXPECT_EQ(v.GetType(), Value::Type::kBool);
    v = false;
    EXPECT_FALSE(v.ToBool());

    Value n;
    n = 5;
    n = 2.5;
    EXPECT_EQ(n.AsNumber(), 2.5);

    Value s;
    s = static_cast<const wchar_t*>(nullptr);
    EXPECT_EQ(s.GetType(), Value::Type::kString);
    EXPECT_NE(s.AsString().GetBuffer(), nullptr);
    s = StringW(L"two");
    s = s.AsString(); // self-assignment of the string
    EXPECT_EQ(Render(s), L"two");

    // A whole value may change the kind; a typed setter may not.
    EXPECT_THROW(s = 1, ValueException);
    s = Value(1);
    EXPECT_EQ(s.AsInt(), 1);
}

TEST(ValueTest, ConstructionByTypeCode) {
    const struct {
        int code;
        const wchar_t* label;
    } cases[] = {{0, L"null"},  {1, L"number"}, {2, L"bool"}, {3, L"string"},
                 {4, L"array"}, {5, L"object"}, {6, L"null"}, {-1, L"null"}};
    for (const auto& c : cases) {
        Value v(static_cast<Value::Type>(c.code));
        EXPECT_EQ(Text(v.GetTypeName()), c.label) << c.code;
    }
    EXPECT_EQ(Value(Value::Type::kArray).Size(), 0u);
    EXPECT_EQ(Value(Value::Type::kDict).Size(), 0u);
}

TEST(ValueTest, DictionaryIteratesInInsertionOrderAndPrintsInKeyOrder) {
    Value dict = SmallDict();
    dict[L"b"] = 2; // an existing key keeps its place
    std::vector<std::wstring> keys;
    for (auto [key, value] : dict) {
        keys.push_back(Text(key));
    }
    EXPECT_EQ(keys, (std::vector<std::wstring>{L"b", L"a"}));
    EXPECT_EQ(Render(dict), L"{ \"a\" : \"x\", \"b\" : 2 }");
    EXPECT_EQ(dict.Begin()++, dict.Begin());
    EXPECT_EQ(++dict.Begin(), Value::Iterator(&dict, 1));
}

TEST(ValueTest, NullKeyIsTheEmptyKey) {
    Value dict;
    dict[nullptr] = 7;
    EXPECT_EQ(dict.At(L"").AsInt(), 7);
    EXPECT_EQ(dict.At(nullptr).AsInt(), 7);
    EXPECT_EQ(dict.Get(nullptr, Value()).AsInt(), 7);
    EXPECT_TRUE(dict.HasKey(L""));
    EXPECT_EQ(Render(dict), L"{ \"\" : 7 }");
}

TEST(ValueTest, GetCopiesTheMemberOrHandsOnTheFallback) {
    Value dict;
    dict[L"list"].Append(Value(1));
    Value copy = dict.Get(L"list", Value());
    copy.Append(Value(2));
    EXPECT_EQ(dict.At(L"list").Size(), 1u);
    EXPECT_EQ(Render(dict.Get(L"missing", Value(L"fallback"))), L"fallback");
}

TEST(ValueTest, DeepCopySharesNothing) {
    Value source;
    source[L"name"] = L"n";
    source[L"list"] = NumberArray(3);
    source[L"list"].Append(SmallDict());

    Value copy = source;
    copy[L"name"].AsString() = L"changed";
    copy[L"list"].At(0u) = 42;
    copy[L"list"].At(3u)[L"c"] = true;
    copy[L"new"] = 1;

    EXPECT_EQ(Render(source),
              L"{ \"list\" : [ 0, 1, 2, { \"a\" : \"x\", \"b\" : 1 } ], \"name\" : \"n\" }");
    EXPECT_EQ(Render(copy), L"{ \"list\" : [ 42, 1, 2, { \"a\" : \"x\", \"b\" : 1, \"c\" : true } "
                            L"], \"name\" : \"changed\", \"new\" : 1 }");
}

TEST(ValueTest, MoveAndSelfAssignment) {
    Value a = SmallDict();
    Value b = std::move(a);
    EXPECT_EQ(a.GetType(), Value::Type::kNull);
    Value& alias = b;
    b = alias;
    b = std::move(alias);
    EXPECT_EQ(Render(b), L"{ \"a\" : \"x\", \"b\" : 1 }");
}

TEST(ValueTest, AssignmentFromInsideItsOwnTree) {
    Value tree;
    tree[L"child"][L"leaf"] = 1;
    tree = tree.At(L"child");
    EXPECT_EQ(Render(tree), L"{ \"leaf\" : 1 }");

    tree[L"inner"] = NumberArray(2);
    tree = std::move(tree[L"inner"]);
    EXPECT_EQ(Render(tree), L"[ 0, 1 ]");

    // The element is copied before the slots move.
    Value array = NumberArray(8);
    array.Append(array.At(0u));
    array.Append(array);
    EXPECT_EQ(Render(array), L"[ 0, 1, 2, 3, 4, 5, 6, 7, 0, [ 0, 1, 2, 3, 4, 5, 6, 7, 0 ] ]");
}

TEST(ValueTest, StringNodeTakesTheBufferOfAMovedString) {
    StringW text(L"moved");
    const wchar_t* buffer = text.GetString();
    Value v(std::move(text));
    EXPECT_EQ(v.AsString().GetString(), buffer);
    EXPECT_EQ(text.GetBuffer(), nullptr);

    Value fromEmpty{StringW()};
    EXPECT_NE(fromEmpty.AsString().GetBuffer(), nullptr);
}

// The handle is one pointer to its node, and the node and vectors have the layout that other
// modules read.
TEST(ValueTest, VectorsStartAtEightSlotsAndDouble) {
    auto dictNode = [](const Value& v) { return *reinterpret_cast<Value::DictValue* const*>(&v); };
    Value dict;
    dict[L"k0"] = 0;
    const Value::DictValue* node = dictNode(dict);
    EXPECT_EQ(node->GetType(), Value::Type::kDict);
    EXPECT_EQ(node->malloc_fn, &std::malloc);
    EXPECT_EQ(node->m_keys->active, 1);
    EXPECT_EQ(node->m_keys->capacity, 8u);

    const struct {
        int entries;
        u32 capacity;
    } steps[] = {{8, 8}, {9, 16}, {16, 16}, {17, 32}, {33, 64}};
    for (const auto& step : steps) {
        while (static_cast<int>(dict.Size()) < step.entries) {
            int i = static_cast<int>(dict.Size());
            dict[(L"k" + std::to_wstring(i)).c_str()] = i;
        }
        EXPECT_EQ(node->m_keys->capacity, step.capacity) << step.entries;
        EXPECT_EQ(node->m_values->capacity, step.capacity) << step.entries;
        EXPECT_EQ(node->m_keys->count, node->m_values->count);
    }
    for (int i = 0; i < 33; ++i) {
        EXPECT_EQ(dict.At((L"k" + std::to_wstring(i)).c_str()).AsInt(), i);
    }

    Value array = NumberArray(17);
    auto* arrayNode = *reinterpret_cast<Value::ArrayValue* const*>(&array);
    EXPECT_EQ(arrayNode->m_items->capacity, 32u);
    EXPECT_EQ(array.At(16u).AsInt(), 16);
}

TEST(ValueTest, IntegerConversionsTruncateAndSaturateToTheSmallest) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double number;
        std::int32_t asInt;
        std::int64_t asInt64;
    } cases[] = {
        {1.9, 1, 1},
        {-1.9, -1, -1},
        {2147483647.0, INT32_MAX, 2147483647},
        {2147483647.9, INT32_MAX, 2147483647},
        {2147483648.0, INT32_MIN, 2147483648},
        {-2147483648.9, INT32_MIN, -2147483648},
        {-2147483649.0, INT32_MIN, -2147483649},
        {9223372036854775808.0, INT32_MIN, INT64_MIN},
        {-9223372036854775808.0, INT32_MIN, INT64_MIN},
        {9223372036854774784.0, INT32_MIN, 9223372036854774784},
        {nan, INT32_MIN, INT64_MIN},
        {inf, INT32_MIN, INT64_MIN},
        {-inf, INT32_MIN, INT64_MIN},
    };
    for (const auto& c : cases) {
        Value v(c.number);
        EXPECT_EQ(v.AsInt(), c.asInt) << c.number;
        EXPECT_EQ(v.AsInt64(), c.asInt64) << c.number;
    }
}

TEST(ValueTest, ToBoolFollowsKindRules) {
    const struct {
        const char* name;
        Value value;
        bool truth;
    } cases[] = {
        {"null", Value(), false},
        {"true", Value(true), true},
        {"false", Value(false), false},
        {"zero", Value(0), false},
        {"negative zero", Value(-0.0), false},
        {"NaN", Value(std::numeric_limits<double>::quiet_NaN()), true},
        {"number", Value(0.001), true},
        {"empty string", Value(L""), false},
        {"string 0", Value(L"0"), true},
        {"string false", Value(L"false"), true},
        {"empty array", Value(Value::Type::kArray), false},
        {"empty dict", Value(Value::Type::kDict), false},
        {"dict", SmallDict(), true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value.ToBool(), c.truth) << c.name;
    }
    Value arrayOfNull;
    arrayOfNull.Append(Value());
    EXPECT_TRUE(arrayOfNull.ToBool());
}

TEST(ValueTest, ToStringTexts) {
    Value nested;
    nested.Append(Value(L"q\"uote"));
    nested.Append(Value());
    nested.Append(Value(Value::Type::kDict));
    nested.Append(Value(Value::Type::kArray));
    const struct {
        Value value;
        const wchar_t* text;
    } cases[] = {
        {Value(), L"null"},
        {Value(1234567.0), L"1.23457e+06"},
        {Value(0.5), L"0.5"},
        {Value(100), L"100"},
        {Value(0.00001), L"1e-05"},
        {Value(-0.0), L"-0"},
        {Value(L"plain \"text\""), L"plain \"text\""},
        {nested, L"[ \"q\"uote\", null, {  }, [  ] ]"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Render(c.value), c.text);
    }
}

} // namespace
} // namespace cv
