#include "nexilo/cv_value.h"

#include <gtest/gtest.h>

#include <climits>
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

TEST(ValueTest, MisuseThrowsTheExactTextAndLeavesTheValue) {
    const Value null;
    const Value array(Value::Type::kArray);
    Value dict;
    dict[L"k"] = 1;
    Value pair = NumberArray(1);
    pair.Append(Value(L"x"));
    const struct {
        Value value;
        void (*misuse)(Value&);
        const char* what;
    } cases[] = {
        {null, [](Value& v) { v.Size(); }, "invalid type[array|dict != null], [null]"},
        {Value(L"abc"), [](Value& v) { v = true; }, "invalid type [bool != string], [abc]"},
        {Value(true), [](Value& v) { v = 5; }, "invalid type [number != bool], [true]"},
        {pair, [](Value& v) { v = 2.5; }, "invalid type [number != array], [[ 0, \"x\" ]]"},
        {Value(2), [](Value& v) { v = L"t"; }, "invalid type [string != number], [2]"},
        {Value(1.5), [](Value& v) { v = StringW(L"t"); }, "invalid type [string != number], [1.5]"},
        {null, [](Value& v) { v.AsNumber(); }, "invalid type [number != null], [null]"},
        {Value(L"x"), [](Value& v) { v.AsInt(); }, "invalid type [number != 3], [x]"},
        {dict, [](Value& v) { v.AsInt64(); }, "invalid type [number != 5], [{ \"k\" : 1 }]"},
        {Value(false), [](Value& v) { v.AsString(); }, "invalid type [string != bool], [false]"},
        {dict, [](Value& v) { v.At(0u); }, "invalid type [array != object], [{ \"k\" : 1 }]"},
        {Value(L"s"), [](Value& v) { v.Append(Value(1)); }, "invalid type [array != string], [s]"},
        {array, [](Value& v) { v[L"k"] = 1; }, "invalid type [dict != array] for [key k], [[  ]]"},
        {null, [](Value& v) { v.At(L"k"); }, "invalid type [dict != null] for [key k], [null]"},
        {dict, [](Value& v) { v.At(L"zz"); }, "key not found [zz], [{ \"k\" : 1 }]"},
        {Value(L"s"), [](Value& v) { v.Get(L"k", Value(1)); },
         "invalid type [dict != string] for [key k], [s]"},
        {null, [](Value& v) { v.Get(L"k", Value(1)); },
         "invalid type [dict != null] for [key k], [null]"},
        {null, [](Value& v) { v.HasKey(nullptr); },
         "invalid type [dict != null] for [key ], [null]"},
        {array, [](Value& v) { v.Begin(); }, "invalid type [dict != array], [[  ]]"},
        {Value(L"\u00e9\u20ac"), [](Value& v) { v.AsNumber(); },
         "invalid type [number != string], [\xc3\xa9\xe2\x82\xac]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Value value = c.value;
        try {
            c.misuse(value);
            ADD_FAILURE() << "no exception";
        } catch (const ValueException& e) {
            EXPECT_EQ(e.what(), std::string("exception: ") + c.what);
        }
        EXPECT_EQ(Render(value), Render(c.value));
    }
}

TEST(ValueTest, TypedSettersTakeTheKindOfNullAndOverwriteTheirOwn) {
    Value flag;
    flag = true;
    flag = false;
    Value number;
    number = 5;
    number = 2.5;
    EXPECT_EQ(Render(flag) + L" " + Render(number), L"false 2.5");

    Value text;
    text = static_cast<const wchar_t*>(nullptr);
    EXPECT_NE(text.AsString().GetBuffer(), nullptr) << "a string node always has a buffer";
    text = StringW(L"two");
    text = text.AsString();
    EXPECT_EQ(Render(text), L"two");
    text = Value(1); // a whole value may change the kind
    EXPECT_EQ(text.AsInt(), 1);

    for (int code : {-1, 6}) { // any other code gives null
        EXPECT_EQ(Value(static_cast<Value::Type>(code)).GetType(), Value::Type::kNull);
    }
}

TEST(ValueTest, DictionaryIteratesInInsertionOrderAndPrintsInKeyOrder) {
    Value dict = SmallDict();
    dict[L"b"] = 2;                          // an existing key keeps its place
    dict[nullptr][L"list"].Append(Value(1)); // the null key is the empty key
    std::vector<std::wstring> keys;
    for (auto [key, value] : dict) {
        keys.push_back(Text(key));
    }
    EXPECT_EQ(keys, (std::vector<std::wstring>{L"b", L"a", L""}));
    EXPECT_EQ(Render(dict), L"{ \"\" : { \"list\" : [ 1 ] }, \"a\" : \"x\", \"b\" : 2 }");

    Value copy = dict.Get(nullptr, Value());
    copy[L"list"].Append(Value(2));
    EXPECT_EQ(dict.At(L"").At(L"list").Size(), 1u);
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

TEST(ValueTest, AssignmentFromItselfOrFromInsideItsOwnTree) {
    Value source = SmallDict();
    Value tree = std::move(source);
    EXPECT_EQ(source.GetType(), Value::Type::kNull);
    Value& alias = tree;
    tree = alias;
    tree = std::move(alias);
    EXPECT_EQ(Render(tree), L"{ \"a\" : \"x\", \"b\" : 1 }");
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

// The handle is one pointer to its node, and other modules read the node and its vectors.
TEST(ValueTest, VectorsStartAtEightSlotsAndDouble) {
    Value dict;
    dict[L"k0"] = 0;
    const auto* node = *reinterpret_cast<Value::DictValue* const*>(&dict);
    ASSERT_EQ(node->GetType(), Value::Type::kDict);
    const struct {
        int entries;
        u32 capacity;
    } steps[] = {{1, 8}, {8, 8}, {9, 16}, {16, 16}, {17, 32}, {33, 64}};
    for (const auto& step : steps) {
        while (static_cast<int>(dict.Size()) < step.entries) {
            const int i = static_cast<int>(dict.Size());
            dict[(L"k" + std::to_wstring(i)).c_str()] = i;
        }
        EXPECT_EQ(node->m_keys->capacity, step.capacity) << step.entries;
        EXPECT_EQ(node->m_values->capacity, step.capacity) << step.entries;
        EXPECT_EQ(node->m_values->count, static_cast<u32>(step.entries));
    }
    for (int i = 0; i < 33; ++i) {
        EXPECT_EQ(dict.At((L"k" + std::to_wstring(i)).c_str()).AsInt(), i);
    }
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
        {2147483647.9, INT32_MAX, 2147483647},
        {2147483648.0, INT32_MIN, 2147483648},
        {-2147483648.9, INT32_MIN, -2147483648},
        {-2147483649.0, INT32_MIN, -2147483649},
        {9223372036854775808.0, INT32_MIN, INT64_MIN},
        {-9223372036854775808.0, INT32_MIN, INT64_MIN},
        {9223372036854774784.0, INT32_MIN, 9223372036854774784},
        {nan, INT32_MIN, INT64_MIN},
        {-inf, INT32_MIN, INT64_MIN},
    };
    for (const auto& c : cases) {
        const Value v(c.number);
        EXPECT_EQ(v.AsInt(), c.asInt) << c.number;
        EXPECT_EQ(v.AsInt64(), c.asInt64) << c.number;
    }
}

TEST(ValueTest, ToBoolAndToStringFollowTheKind) {
    Value nested;
    nested.Append(Value(L"q\"uote"));
    nested.Append(Value());
    nested.Append(Value(Value::Type::kDict));
    const struct {
        Value value;
        bool truth;
        const wchar_t* text;
    } cases[] = {
        {Value(), false, L"null"},
        {Value(false), false, L"false"},
        {Value(-0.0), false, L"-0"},
        {Value(0.00001), true, L"1e-05"},
        {Value(1234567.0), true, L"1.23457e+06"},
        {Value(L""), false, L""},
        {Value(L"0"), true, L"0"},
        {Value(Value::Type::kDict), false, L"{  }"},
        {nested, true, L"[ \"q\"uote\", null, {  } ]"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value.ToBool(), c.truth) << Render(c.value);
        EXPECT_EQ(Render(c.value), c.text);
    }
    EXPECT_TRUE(Value(std::numeric_limits<double>::quiet_NaN()).ToBool()) << "NaN is no zero";
}

} // namespace
} // namespace cv
