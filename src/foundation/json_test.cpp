#include "foundation/json.h"

#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace cv {
namespace {

Json Parsed(const char* text, std::uint32_t flags = 0) {
    Json json;
    EXPECT_TRUE(json.Parse(text, flags)) << text;
    return json;
}

TEST(JsonTest, OnlyNamedFlagBitsReachTheLibrary) {
    Json object = Parsed(R"({"b":[1,2],"a":"x/y","c":0.1,"d":"\u00e9"})");
    const std::string plain = object.Dump(0);
    EXPECT_EQ(plain, R"({"b": [1, 2], "a": "x/y", "c": 0.10000000000000001, "d": "é"})");
    // Indent (low five bits), real precision and anything above the named bits are dropped.
    for (std::uint32_t ignored : {4u, 31u, 3u << 11, 0x10000u, 0x80000000u}) {
        EXPECT_EQ(object.Dump(ignored), plain) << ignored;
    }
    EXPECT_EQ(object.Dump(kJsonCompact),
              R"({"b":[1,2],"a":"x/y","c":0.10000000000000001,"d":"é"})");
    EXPECT_EQ(object.Dump(kJsonSortKeys | kJsonEscapeSlash | kJsonEnsureAscii),
              R"({"a": "x\/y", "b": [1, 2], "c": 0.10000000000000001, "d": "\u00E9"})");

    const struct {
        const char* text;
        std::uint32_t flags;
        bool parses;
    } decoding[] = {
        {R"({"a":1,"a":2})", 0, true},
        {R"({"a":1,"a":2})", kJsonRejectDuplicates, false},
        {"{} tail", 0, false},
        {"{} tail", kJsonDisableEofCheck, true},
        {"5", 0, false},
        {"5", kJsonDecodeAny, true},
        {R"(["a\u0000b"])", 0, false},
        {R"(["a\u0000b"])", kJsonAllowNul, true},
    };
    for (const auto& c : decoding) {
        Json json;
        EXPECT_EQ(json.Parse(c.text, c.flags), c.parses) << c.text << " " << c.flags;
    }
    Json real = Parsed("[5]", kJsonDecodeIntAsReal);
    EXPECT_TRUE(real.At(0).IsReal());
}

TEST(JsonTest, MemberReadersTakeOnlyTheirOwnKind) {
    const Json object =
        Parsed(R"({"real":1.0,"big":4294967297,"neg":-1,"text":"h\u00e9","flag":true,"obj":{}})");
    std::int32_t i32 = 7;
    std::uint32_t u32 = 7;
    std::int64_t i64 = 7;
    EXPECT_FALSE(object.Get("real", i32));
    EXPECT_FALSE(object.Get("real", i64));
    EXPECT_FALSE(object.Get("missing", i32));
    EXPECT_FALSE(object.Get("text", i32));
    EXPECT_EQ(i32, 7);
    EXPECT_TRUE(object.Get("big", i32));
    EXPECT_EQ(i32, 1);
    EXPECT_TRUE(object.Get("neg", u32));
    EXPECT_EQ(u32, 0xFFFFFFFFu);
    EXPECT_TRUE(object.Get("big", i64));
    EXPECT_EQ(i64, 4294967297);

    std::string narrow;
    std::wstring wide;
    bool flag = false;
    EXPECT_TRUE(object.Get("text", narrow));
    EXPECT_EQ(narrow, "h\xc3\xa9");
    EXPECT_TRUE(object.Get("text", wide));
    EXPECT_EQ(wide, L"h\u00e9");
    EXPECT_FALSE(object.Get("flag", narrow));
    EXPECT_TRUE(object.Get("flag", flag));
    EXPECT_TRUE(flag);
    EXPECT_FALSE(object.Get("text", flag));

    Json self = object;
    EXPECT_FALSE(self.Get("obj", self));
    EXPECT_FALSE(Parsed("[1]").Get("0", i32));
    EXPECT_FALSE(Json().Get("big", i64));
}

TEST(JsonTest, ValueReadersTakeOnlyTheirOwnKind) {
    Json integer(std::int64_t{4294967297});
    double real = 3;
    EXPECT_FALSE(integer.Get(real));
    EXPECT_EQ(real, 3);
    EXPECT_EQ(integer.AsReal(), 0.0);
    EXPECT_EQ(integer.AsInt(), 1);
    EXPECT_EQ(integer.AsInt32(), 1);
    EXPECT_EQ(integer.AsInt64(), 4294967297);
    EXPECT_EQ(Json(-1).AsUInt64(), 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(Json(5).AsReal(), 0.0);
    EXPECT_FALSE(Json(true).IsInteger());
    EXPECT_TRUE(Json(true).AsBool());
    EXPECT_FALSE(Json(1).AsBool());
    EXPECT_EQ(Json(1).AsString(), "");
    EXPECT_EQ(Json(1).GetCString(nullptr), nullptr);
    EXPECT_FALSE(Json("\xff").IsValid());
    EXPECT_FALSE(Json(static_cast<const char*>(nullptr)).IsValid());

    Json real2;
    ASSERT_TRUE(real2.Set(2.5));
    EXPECT_TRUE(real2.Get(real));
    EXPECT_EQ(real2.AsReal(), 2.5);
    EXPECT_EQ(real2.AsInt64(), 0);
}

TEST(JsonTest, StringsKeepEmbeddedNulWhereTheFullLengthIsAsked) {
    Json json;
    ASSERT_TRUE(json.Parse(R"("a\u0000b")", kJsonDecodeAny | kJsonAllowNul));
    EXPECT_EQ(json.AsString(), "a");
    std::string full;
    EXPECT_TRUE(json.Get(full));
    EXPECT_EQ(full, std::string("a\0b", 3));
    char* out = nullptr;
    char* copy = json.DupString(&out);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, out);
    EXPECT_EQ(std::memcmp(copy, "a\0b", 4), 0);
    std::free(copy);
}

TEST(JsonTest, IntegerFormsSignExtendAt32BitsAndKeep64) {
    JsonObject object;
    EXPECT_TRUE(object.Set("u32", 0xFFFFFFFFu));
    EXPECT_TRUE(object.Set("i32", -5));
    EXPECT_TRUE(object.Set("u64", 0xFFFFFFFFFFFFFFFFull));
    EXPECT_TRUE(object.Set("i64", 1LL << 40));
    EXPECT_TRUE(object.Set("long", static_cast<long>(sizeof(long) == 8 ? 1LL << 40 : -7)));
    EXPECT_TRUE(object.Set("size", std::size_t{3}));
    EXPECT_EQ(object.Dump(kJsonSortKeys | kJsonCompact),
              std::string(R"({"i32":-5,"i64":1099511627776,"long":)") +
                  (sizeof(long) == 8 ? "1099511627776" : "-7") + R"(,"size":3,"u32":-1,"u64":-1})");
    EXPECT_EQ(Json(0xFFFFFFFFu).AsInt64(), -1);
    EXPECT_EQ(Json(std::uint64_t{1} << 40).AsInt64(), 1LL << 40);
}

TEST(JsonTest, SettersRefuseWrongTargetsKeysAndValues) {
    JsonObject object;
    EXPECT_FALSE(object.Set("\xc3", 1));
    EXPECT_FALSE(object.Set("k", "\xc3"));
    EXPECT_FALSE(object.Set("k", static_cast<const wchar_t*>(nullptr)));
    EXPECT_FALSE(object.Set("k", Json()));
    EXPECT_FALSE(object.Set("self", object));
    EXPECT_TRUE(object.Set("w", L"\u00e9"));
    EXPECT_TRUE(object.Set("s", std::wstring(L"x")));
    EXPECT_EQ(object.Dump(kJsonCompact), R"({"w":"é","s":"x"})");
    EXPECT_FALSE(JsonArray().Set("k", 1));

    JsonArray array;
    EXPECT_TRUE(array.Append("a"));
    EXPECT_TRUE(array.Append(std::string("b")));
    EXPECT_FALSE(array.SetAt(2, "c"));
    EXPECT_FALSE(array.SetAt(0, "\xff"));
    EXPECT_TRUE(array.SetAt(1, true));
    EXPECT_FALSE(array.Append(Json()));
    EXPECT_FALSE(object.Append(1));
    EXPECT_FALSE(object.SetAt(0, 1));
    EXPECT_EQ(array.Dump(kJsonCompact), R"(["a",true])");
    EXPECT_EQ(array.Size(), 2u);
    EXPECT_EQ(Json(1).Size(), 0u);
}

TEST(JsonTest, RootReplacement) {
    Json json = Parsed("{}");
    EXPECT_FALSE(json.Parse("{"));
    EXPECT_FALSE(json.IsValid());

    json.SetNull();
    EXPECT_TRUE(json.IsValid());
    EXPECT_TRUE(json.IsNull());
    json.Reset();
    EXPECT_FALSE(json.IsValid());
    EXPECT_FALSE(json.IsNull());

    EXPECT_TRUE(json.Set("text"));
    EXPECT_EQ(json.Dump(0), "");
    EXPECT_EQ(json.Dump(kJsonEncodeAny), "\"text\"");
    std::string kept = "kept";
    EXPECT_FALSE(json.Dump(kept, 0));
    EXPECT_EQ(kept, "kept");
    char* heap = reinterpret_cast<char*>(&kept);
    EXPECT_FALSE(json.Dump(&heap, 0));
    EXPECT_EQ(heap, nullptr);
    EXPECT_FALSE(json.Set("\xff"));
    EXPECT_FALSE(json.IsValid());

    // An invalid source leaves the target alone.
    Json target(3);
    target = Json();
    EXPECT_EQ(target.AsInt(), 3);
    target.Assign(Parsed("[1]"));
    EXPECT_TRUE(target.IsArray());
}

TEST(JsonTest, ParseReportsDetailsOnlyOnFailure) {
    Json json;
    JsonError error;
    EXPECT_FALSE(json.Parse("{\n  \"a\": }", &error, 0));
    EXPECT_EQ(error.line, 2);
    EXPECT_EQ(error.column, 8);
    EXPECT_EQ(error.position, 10);
    EXPECT_EQ(error.source, "<string>");
    EXPECT_FALSE(error.text.empty());

    EXPECT_TRUE(json.Parse("[]", &error, 0));
    EXPECT_EQ(error.line, -1);
    EXPECT_EQ(error.column, -1);
    EXPECT_EQ(error.position, -1);
    EXPECT_TRUE(error.source.empty());
    EXPECT_TRUE(error.text.empty());

    EXPECT_FALSE(json.Parse(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(json.Parse("[1] junk", 3, 0));
    EXPECT_TRUE(json.Parse(std::string("[2]")));
    EXPECT_FALSE(json.Parse(std::string("[2]\0", 4)));
}

TEST(JsonTest, CopiesAndMembersShareTheTree) {
    JsonObject object;
    Json copy = object;
    EXPECT_EQ(object.RefCount(), 2);
    EXPECT_TRUE(copy.Set("a", JsonArray()));
    EXPECT_EQ(object.Dump(kJsonCompact), R"({"a":[]})");

    Json member;
    EXPECT_TRUE(object.Get("a", member));
    EXPECT_TRUE(member.Append(1));
    Json viaGet = object.Get("a");
    EXPECT_TRUE(viaGet.Append(2));
    EXPECT_EQ(copy.Dump(kJsonCompact), R"({"a":[1,2]})");

    Json element;
    EXPECT_TRUE(member.At(1, element));
    EXPECT_EQ(element.AsInt(), 2);
    EXPECT_FALSE(member.At(2).IsValid());
    EXPECT_FALSE(member.At(2, element));
    EXPECT_EQ(element.AsInt(), 2);
    EXPECT_FALSE(object.Get("none").IsValid());

    // A member outlives the parent it was read from.
    object.Reset();
    copy.Reset();
    EXPECT_EQ(member.Dump(kJsonCompact), "[1,2]");
}

TEST(JsonTest, ReferenceCounts) {
    JsonObject object;
    EXPECT_EQ(object.RefCount(), 1);
    EXPECT_EQ(object.AddRef(), 2);
    EXPECT_EQ(object.DecRef(), 1);
    EXPECT_EQ(object.DecRef(), 0);
    EXPECT_FALSE(object.IsValid()); // the tree went with its last reference

    Json constant(true);
    EXPECT_EQ(constant.AddRef(), 0);
    EXPECT_EQ(constant.DecRef(), -2);
    EXPECT_EQ(constant.RefCount(), -1);
    EXPECT_TRUE(constant.IsTrue());

    Json none;
    EXPECT_EQ(none.AddRef(), -1);
    EXPECT_EQ(none.DecRef(), -1);
    EXPECT_EQ(none.RefCount(), -1);
    EXPECT_NE(none.HandleAddress(), nullptr);
    EXPECT_EQ(none.Handle(), nullptr);
}

TEST(JsonTest, KeysInByteOrder) {
    const Json object = Parsed(R"({"b":1,"a":2,"\u00e9":3,"z":4,"B":5})");
    const std::set<std::string> keys = object.Keys();
    EXPECT_EQ(std::vector<std::string>(keys.begin(), keys.end()),
              (std::vector<std::string>{"B", "a", "b", "z", "\xc3\xa9"}));
    EXPECT_TRUE(Parsed("[1]").Keys().empty());
}

TEST(JsonTest, PackRefusesTheTokenThatTakesOverAReference) {
    JsonObject value;
    Json json = Parsed("[1]");
    EXPECT_FALSE(json.Pack("{s:o}", "k", value.Handle()));
    EXPECT_FALSE(json.Pack("[ o ]", value.Handle()));
    EXPECT_TRUE(json.IsArray()); // untouched
    EXPECT_FALSE(json.Unpack("{s:o}", "k", nullptr));

    EXPECT_TRUE(json.Pack("{s:O}", "k", value.Handle()));
    EXPECT_EQ(value.RefCount(), 2);
    EXPECT_TRUE(json.Pack("{s:s, s:s, s:s}", "user_token", "t", "app_id", "a", "device_id", "d"));
    EXPECT_EQ(json.Dump(kJsonCompact), R"({"user_token":"t","app_id":"a","device_id":"d"})");
    const char* token = nullptr;
    EXPECT_TRUE(json.Unpack("{s:s}", "user_token", &token));
    EXPECT_STREQ(token, "t");

    EXPECT_TRUE(json.Pack("{s:s, s:s, s:i}", "jsonrpc", "2.0", "method", "m", "id", 7));
    EXPECT_EQ(json.Dump(kJsonCompact), R"({"jsonrpc":"2.0","method":"m","id":7})");
    EXPECT_FALSE(json.Pack("{s:s}", "k", nullptr));
    EXPECT_FALSE(json.IsValid());
    EXPECT_FALSE(json.Pack(nullptr));
    int ignored = 0;
    EXPECT_FALSE(json.Unpack("i", &ignored));
}

TEST(JsonTest, LoadAndSaveByPath) {
    platform::testing::TempDir dir;
    const std::wstring path = dir.File(L"doc \u00e9.json");
    const std::string narrowPath = dir.Path().string() + "/narrow.json";

    Json json = Parsed(R"({"a":[1,"x"]})");
    EXPECT_FALSE(json.Load(L""));
    EXPECT_FALSE(json.Load(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(json.Load(static_cast<std::FILE*>(nullptr)));
    EXPECT_TRUE(json.IsObject());

    EXPECT_TRUE(json.Save(path));
    EXPECT_TRUE(json.Save(narrowPath, kJsonCompact));
    Json loaded;
    EXPECT_TRUE(loaded.Load(path));
    EXPECT_EQ(loaded.Dump(kJsonCompact), R"({"a":[1,"x"]})");
    EXPECT_TRUE(loaded.Load(narrowPath.c_str()));
    EXPECT_TRUE(loaded.IsObject());

    EXPECT_FALSE(loaded.Load(dir.File(L"missing.json")));
    EXPECT_FALSE(loaded.IsValid());

    // A root that may not be saved leaves no file behind.
    const std::wstring refused = dir.File(L"refused.json");
    EXPECT_FALSE(Json("text").Save(refused));
    EXPECT_FALSE(std::filesystem::exists(dir.Path() / "refused.json"));
    EXPECT_TRUE(Json("text").Save(refused, kJsonEncodeAny));
    EXPECT_FALSE(Json().Save(refused, kJsonEncodeAny));
}

// The order of the virtual operations is a contract between modules. Under the Itanium C++ ABI
// (GCC and Clang, also for mingw-w64) a pointer to a virtual member holds 1 + its byte offset in
// the table, and the destructor takes the first two slots.
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
template <class F>
std::ptrdiff_t SlotOf(F member) {
    struct Representation {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    };
    static_assert(sizeof(F) == sizeof(Representation));
    Representation raw;
    std::memcpy(&raw, &member, sizeof(raw));
    return (raw.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

template <class R, class... A>
std::ptrdiff_t Slot(R (Json::*member)(A...)) {
    return SlotOf(member);
}

template <class R, class... A>
std::ptrdiff_t Slot(R (Json::*member)(A...) const) {
    return SlotOf(member);
}

#define SLOT(R, name, ...) Slot<R, ##__VA_ARGS__>(&Json::name)

TEST(JsonTest, VirtualOperationsKeepTheirOrder) {
    using S = const std::string&;
    using J = const Json&;
    using W = const std::wstring&;
    using u32 = std::uint32_t;
    const std::vector<std::ptrdiff_t> slots = {
        SLOT(std::int32_t, AddRef),
        SLOT(std::int32_t, DecRef),
        SLOT(std::int32_t, RefCount),
        SLOT(void, Reset),
        SLOT(bool, IsValid),
        SLOT(bool, IsObject),
        SLOT(bool, IsArray),
        SLOT(bool, IsString),
        SLOT(bool, IsInteger),
        SLOT(bool, IsReal),
        SLOT(bool, IsNumber),
        SLOT(bool, IsBool),
        SLOT(bool, IsTrue),
        SLOT(bool, IsFalse),
        SLOT(bool, IsNull),
        SLOT(void, Assign, J),
        SLOT(void, SetNull),
        // Get by key
        SLOT(bool, Get, S, std::int64_t&),
        SLOT(bool, Get, S, std::int32_t&),
        SLOT(bool, Get, S, std::uint32_t&),
        SLOT(bool, Get, S, std::wstring&),
        SLOT(bool, Get, S, std::string&),
        SLOT(bool, Get, S, bool&),
        SLOT(bool, Get, S, Json&),
        SLOT(Json, Get, S),
        SLOT(Json, At, u32),
        SLOT(bool, At, u32, Json&),
        // Get of the value
        SLOT(bool, Get, std::wstring&),
        SLOT(bool, Get, std::string&),
        SLOT(bool, Get, double&),
        SLOT(bool, Get, std::int64_t&),
        SLOT(bool, Get, std::int32_t&),
        SLOT(bool, Get, std::uint32_t&),
        SLOT(bool, Get, bool&),
        SLOT(bool, AsBool),
        // Set by key
        SLOT(bool, Set, S, J),
        SLOT(bool, Set, S, W),
        SLOT(bool, Set, S, const wchar_t*),
        SLOT(bool, Set, S, S),
        SLOT(bool, Set, S, const char*),
        SLOT(bool, Set, S, double),
        SLOT(bool, Set, S, long long),
        SLOT(bool, Set, S, unsigned long long),
        SLOT(bool, Set, S, int),
        SLOT(bool, Set, S, unsigned int),
        SLOT(bool, Set, S, long),
        SLOT(bool, Set, S, unsigned long),
        SLOT(bool, Set, S, bool),
        // SetAt
        SLOT(bool, SetAt, u32, J),
        SLOT(bool, SetAt, u32, W),
        SLOT(bool, SetAt, u32, const wchar_t*),
        SLOT(bool, SetAt, u32, S),
        SLOT(bool, SetAt, u32, const char*),
        SLOT(bool, SetAt, u32, double),
        SLOT(bool, SetAt, u32, long long),
        SLOT(bool, SetAt, u32, unsigned long long),
        SLOT(bool, SetAt, u32, int),
        SLOT(bool, SetAt, u32, unsigned int),
        SLOT(bool, SetAt, u32, long),
        SLOT(bool, SetAt, u32, unsigned long),
        SLOT(bool, SetAt, u32, bool),
        // Set of the root
        SLOT(bool, Set, const char*),
        SLOT(bool, Set, S),
        SLOT(bool, Set, double),
        SLOT(bool, Set, long long),
        SLOT(bool, Set, unsigned long long),
        SLOT(bool, Set, int),
        SLOT(bool, Set, unsigned int),
        SLOT(bool, Set, long),
        SLOT(bool, Set, unsigned long),
        SLOT(bool, Set, bool),
        // Readers
        SLOT(std::int32_t, AsInt),
        SLOT(std::int64_t, AsInt64),
        SLOT(std::uint64_t, AsUInt64),
        SLOT(std::int32_t, AsInt32),
        SLOT(double, AsReal),
        SLOT(char*, DupString, char**),
        SLOT(const char*, GetCString, const char**),
        SLOT(std::string, AsString),
        // Append
        SLOT(bool, Append, J),
        SLOT(bool, Append, W),
        SLOT(bool, Append, const wchar_t*),
        SLOT(bool, Append, S),
        SLOT(bool, Append, const char*),
        SLOT(bool, Append, double),
        SLOT(bool, Append, long long),
        SLOT(bool, Append, unsigned long long),
        SLOT(bool, Append, int),
        SLOT(bool, Append, unsigned int),
        SLOT(bool, Append, long),
        SLOT(bool, Append, unsigned long),
        SLOT(bool, Append, bool),
        SLOT(std::uint32_t, Size),
        SLOT(json_t*, Handle),
        SLOT(json_t**, HandleAddress),
        Slot<bool, const char*>(reinterpret_cast<bool (Json::*)(const char*)>(
            static_cast<bool (Json::*)(const char*, ...)>(&Json::Pack))),
        Slot<bool, const char*>(reinterpret_cast<bool (Json::*)(const char*) const>(
            static_cast<bool (Json::*)(const char*, ...) const>(&Json::Unpack))),
        SlotOf(&Json::PackV),
        SlotOf(&Json::UnpackV),
        SLOT(std::set<std::string>, Keys),
        SLOT(bool, Parse, S, u32),
        SLOT(bool, Parse, const char*, u32),
        SLOT(bool, Parse, const char*, JsonError*, u32),
        SLOT(bool, Parse, const char*, std::size_t, u32),
        SLOT(bool, Load, std::FILE*, u32),
        SLOT(bool, Load, W, u32),
        SLOT(bool, Load, const wchar_t*, u32),
        SLOT(bool, Load, S, u32),
        SLOT(bool, Load, const char*, u32),
        SLOT(bool, Dump, char**, u32),
        SLOT(std::string, Dump, u32),
        SLOT(bool, Dump, std::string&, u32),
        SLOT(bool, Save, std::FILE*, u32),
        SLOT(bool, Save, W, u32),
        SLOT(bool, Save, const wchar_t*, u32),
        SLOT(bool, Save, S, u32),
        SLOT(bool, Save, const char*, u32),
    };
    ASSERT_EQ(slots.size(), 117u);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i) + 2) << "operation " << i;
    }
}
#endif

} // namespace
} // namespace cv
