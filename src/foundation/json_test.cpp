#include "foundation/json.h"

#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
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
    for (std::uint32_t ignored : {4u, 31u, 3u << 11, 0x80000000u}) {
        EXPECT_EQ(object.Dump(ignored), plain) << ignored;
    }
    EXPECT_EQ(object.Dump(kJsonCompact | kJsonSortKeys | kJsonEscapeSlash | kJsonEnsureAscii),
              R"({"a":"x\/y","b":[1,2],"c":0.10000000000000001,"d":"\u00E9"})");

    // Each decoding flag turns the outcome of its text.
    const struct {
        const char* text;
        std::uint32_t flag;
    } decoding[] = {{R"({"a":1,"a":2})", kJsonRejectDuplicates},
                    {"{} tail", kJsonDisableEofCheck},
                    {"5", kJsonDecodeAny},
                    {R"(["a\u0000b"])", kJsonAllowNul}};
    for (const auto& c : decoding) {
        EXPECT_NE(Json().Parse(c.text, 0), Json().Parse(c.text, c.flag)) << c.text;
    }
    EXPECT_TRUE(Parsed("[5]", kJsonDecodeIntAsReal).At(0).IsReal());
}

template <class T>
std::optional<T> Member(const Json& json, const char* key) {
    T value{};
    return json.Get(key, value) ? std::optional<T>(value) : std::nullopt;
}

TEST(JsonTest, ReadersTakeOnlyTheirOwnKind) {
    Json object = Parsed(R"({"real":1.0,"big":4294967297,"neg":-1,"text":"h\u00e9","flag":true})");
    EXPECT_EQ(Member<std::int32_t>(object, "real"), std::nullopt);
    EXPECT_EQ(Member<std::int32_t>(object, "text"), std::nullopt);
    EXPECT_EQ(Member<std::int32_t>(object, "big"), 1);
    EXPECT_EQ(Member<std::uint32_t>(object, "neg"), 0xFFFFFFFFu);
    EXPECT_EQ(Member<std::wstring>(object, "text"), L"h\u00e9");
    EXPECT_EQ(Member<std::wstring>(object, "flag"), std::nullopt);
    EXPECT_EQ(Member<bool>(object, "text"), std::nullopt);
    EXPECT_FALSE(object.Get("flag", object)) << "a handle cannot take a member of its own";

    double real = 3;
    EXPECT_FALSE(Json(std::int64_t{4294967297}).Get(real));
    EXPECT_EQ(real, 3) << "a refused read leaves the target";
    EXPECT_EQ(Json(-1).AsUInt64(), 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(Json(5).AsReal(), 0.0);
    Json nul;
    ASSERT_TRUE(nul.Parse(R"("a\u0000b")", kJsonDecodeAny | kJsonAllowNul));
    std::string full;
    EXPECT_TRUE(nul.Get(full));
    EXPECT_EQ(full, std::string("a\0b", 3)) << "the full length where it is asked";
    EXPECT_EQ(nul.AsString(), "a");
}

// The 32-bit forms sign-extend, `long` follows its width, and bad keys, values or targets are
// refused.
TEST(JsonTest, SettersKeepTheirIntegerWidthAndRefuseWhatCannotBeStored) {
    JsonObject object;
    EXPECT_TRUE(object.Set("u32", 0xFFFFFFFFu));
    EXPECT_TRUE(object.Set("u64", 0xFFFFFFFFFFFFFFFFull));
    EXPECT_TRUE(object.Set("long", static_cast<long>(sizeof(long) == 8 ? 1LL << 40 : -7)));
    EXPECT_FALSE(object.Set("\xc3", 1));
    EXPECT_FALSE(object.Set("k", "\xc3"));
    EXPECT_FALSE(object.Set("k", Json()));
    EXPECT_FALSE(object.Set("self", object));
    EXPECT_FALSE(object.Append(1));
    EXPECT_EQ(object.Dump(kJsonCompact), std::string(R"({"u32":-1,"u64":-1,"long":)") +
                                             (sizeof(long) == 8 ? "1099511627776}" : "-7}"));
    JsonArray array;
    EXPECT_TRUE(array.Append(L"\u00e9"));
    EXPECT_FALSE(array.SetAt(1, "c"));
    EXPECT_FALSE(array.Set("k", 1));
    EXPECT_EQ(array.Dump(kJsonCompact), R"(["é"])");
}

TEST(JsonTest, FailedReplacementsLeaveNoRootAndParseTellsWhere) {
    Json json = Parsed("{}");
    EXPECT_FALSE(json.Parse("{"));
    EXPECT_FALSE(json.IsValid());
    EXPECT_TRUE(json.Set("text"));
    EXPECT_FALSE(json.Set("\xff"));
    EXPECT_FALSE(json.IsValid());
    Json target(3);
    target = Json(); // an invalid source leaves the target alone
    EXPECT_EQ(target.AsInt(), 3);

    JsonError error;
    EXPECT_FALSE(json.Parse("{\n  \"a\": }", &error, 0));
    EXPECT_EQ(error.line, 2);
    EXPECT_EQ(error.column, 8);
    EXPECT_TRUE(json.Parse("[]", &error, 0));
    EXPECT_EQ(error.line, -1) << "details only on failure";
}

TEST(JsonTest, CopiesAndMembersShareTheTree) {
    JsonObject object;
    Json copy = object;
    EXPECT_EQ(object.RefCount(), 2);
    EXPECT_TRUE(copy.Set("a", JsonArray()));
    Json member;
    EXPECT_TRUE(object.Get("a", member));
    EXPECT_TRUE(member.Append(1));
    EXPECT_TRUE(object.Get("a").Append(2));
    EXPECT_EQ(copy.Dump(kJsonCompact), R"({"a":[1,2]})");

    // A member outlives the parent it was read from.
    object.Reset();
    copy.Reset();
    EXPECT_EQ(member.Dump(kJsonCompact), "[1,2]");
    EXPECT_EQ(member.DecRef(), 0);
    EXPECT_FALSE(member.IsValid()) << "the tree went with its last reference";
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

    // The shapes the cloud exchanges.
    EXPECT_TRUE(json.Pack("{s:s, s:s, s:s}", "user_token", "t", "app_id", "a", "device_id", "d"));
    EXPECT_EQ(json.Dump(kJsonCompact), R"({"user_token":"t","app_id":"a","device_id":"d"})");
    const char* token = nullptr;
    EXPECT_TRUE(json.Unpack("{s:s}", "user_token", &token));
    EXPECT_STREQ(token, "t");
    EXPECT_TRUE(json.Pack("{s:s, s:s, s:i}", "jsonrpc", "2.0", "method", "m", "id", 7));
    EXPECT_EQ(json.Dump(kJsonCompact), R"({"jsonrpc":"2.0","method":"m","id":7})");
    EXPECT_FALSE(json.Pack("{s:s}", "k", nullptr));
    EXPECT_FALSE(json.IsValid());
}

TEST(JsonTest, LoadAndSaveByPath) {
    platform_testing::TempDir dir;
    const std::wstring path = dir.File(L"doc \u00e9.json");
    EXPECT_TRUE(Parsed(R"({"a":[1,"x"]})").Save(path));
    Json loaded;
    EXPECT_TRUE(loaded.Load(path));
    EXPECT_EQ(loaded.Dump(kJsonCompact), R"({"a":[1,"x"]})");
    EXPECT_FALSE(loaded.Load(dir.File(L"missing.json")));
    EXPECT_FALSE(loaded.IsValid());

    // A root that may not be saved leaves no file behind.
    EXPECT_FALSE(Json("text").Save(dir.File(L"refused.json")));
    EXPECT_FALSE(std::filesystem::exists(dir.Path() / "refused.json"));
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
        SLOT(std::int32_t, AddRef), SLOT(std::int32_t, DecRef), SLOT(std::int32_t, RefCount),
        SLOT(void, Reset), SLOT(bool, IsValid), SLOT(bool, IsObject), SLOT(bool, IsArray),
        SLOT(bool, IsString), SLOT(bool, IsInteger), SLOT(bool, IsReal), SLOT(bool, IsNumber),
        SLOT(bool, IsBool), SLOT(bool, IsTrue), SLOT(bool, IsFalse), SLOT(bool, IsNull),
        SLOT(void, Assign, J), SLOT(void, SetNull),
        // Get by key
        SLOT(bool, Get, S, std::int64_t&), SLOT(bool, Get, S, std::int32_t&),
        SLOT(bool, Get, S, std::uint32_t&), SLOT(bool, Get, S, std::wstring&),
        SLOT(bool, Get, S, std::string&), SLOT(bool, Get, S, bool&), SLOT(bool, Get, S, Json&),
        SLOT(Json, Get, S), SLOT(Json, At, u32), SLOT(bool, At, u32, Json&),
        // Get of the value
        SLOT(bool, Get, std::wstring&), SLOT(bool, Get, std::string&), SLOT(bool, Get, double&),
        SLOT(bool, Get, std::int64_t&), SLOT(bool, Get, std::int32_t&),
        SLOT(bool, Get, std::uint32_t&), SLOT(bool, Get, bool&), SLOT(bool, AsBool),
        // Set by key
        SLOT(bool, Set, S, J), SLOT(bool, Set, S, W), SLOT(bool, Set, S, const wchar_t*),
        SLOT(bool, Set, S, S), SLOT(bool, Set, S, const char*), SLOT(bool, Set, S, double),
        SLOT(bool, Set, S, long long), SLOT(bool, Set, S, unsigned long long),
        SLOT(bool, Set, S, int), SLOT(bool, Set, S, unsigned int), SLOT(bool, Set, S, long),
        SLOT(bool, Set, S, unsigned long), SLOT(bool, Set, S, bool),
        // SetAt
        SLOT(bool, SetAt, u32, J), SLOT(bool, SetAt, u32, W),
        SLOT(bool, SetAt, u32, const wchar_t*), SLOT(bool, SetAt, u32, S),
        SLOT(bool, SetAt, u32, const char*), SLOT(bool, SetAt, u32, double),
        SLOT(bool, SetAt, u32, long long), SLOT(bool, SetAt, u32, unsigned long long),
        SLOT(bool, SetAt, u32, int), SLOT(bool, SetAt, u32, unsigned int),
        SLOT(bool, SetAt, u32, long), SLOT(bool, SetAt, u32, unsigned long),
        SLOT(bool, SetAt, u32, bool),
        // Set of the root
        SLOT(bool, Set, const char*), SLOT(bool, Set, S), SLOT(bool, Set, double),
        SLOT(bool, Set, long long), SLOT(bool, Set, unsigned long long), SLOT(bool, Set, int),
        SLOT(bool, Set, unsigned int), SLOT(bool, Set, long), SLOT(bool, Set, unsigned long),
        SLOT(bool, Set, bool),
        // Readers
        SLOT(std::int32_t, AsInt), SLOT(std::int64_t, AsInt64), SLOT(std::uint64_t, AsUInt64),
        SLOT(std::int32_t, AsInt32), SLOT(double, AsReal), SLOT(char*, DupString, char**),
        SLOT(const char*, GetCString, const char**), SLOT(std::string, AsString),
        // Append
        SLOT(bool, Append, J), SLOT(bool, Append, W), SLOT(bool, Append, const wchar_t*),
        SLOT(bool, Append, S), SLOT(bool, Append, const char*), SLOT(bool, Append, double),
        SLOT(bool, Append, long long), SLOT(bool, Append, unsigned long long),
        SLOT(bool, Append, int), SLOT(bool, Append, unsigned int), SLOT(bool, Append, long),
        SLOT(bool, Append, unsigned long), SLOT(bool, Append, bool), SLOT(std::uint32_t, Size),
        SLOT(json_t*, Handle), SLOT(json_t**, HandleAddress),
        Slot<bool, const char*>(reinterpret_cast<bool (Json::*)(const char*)>(
            static_cast<bool (Json::*)(const char*, ...)>(&Json::Pack))),
        Slot<bool, const char*>(reinterpret_cast<bool (Json::*)(const char*) const>(
            static_cast<bool (Json::*)(const char*, ...) const>(&Json::Unpack))),
        SlotOf(&Json::PackV), SlotOf(&Json::UnpackV), SLOT(std::set<std::string>, Keys),
        SLOT(bool, Parse, S, u32), SLOT(bool, Parse, const char*, u32),
        SLOT(bool, Parse, const char*, JsonError*, u32),
        SLOT(bool, Parse, const char*, std::size_t, u32), SLOT(bool, Load, std::FILE*, u32),
        SLOT(bool, Load, W, u32), SLOT(bool, Load, const wchar_t*, u32), SLOT(bool, Load, S, u32),
        SLOT(bool, Load, const char*, u32), SLOT(bool, Dump, char**, u32),
        SLOT(std::string, Dump, u32), SLOT(bool, Dump, std::string&, u32),
        SLOT(bool, Save, std::FILE*, u32), SLOT(bool, Save, W, u32),
        SLOT(bool, Save, const wchar_t*, u32), SLOT(bool, Save, S, u32),
        SLOT(bool, Save, const char*, u32)};
    ASSERT_EQ(slots.size(), 117u);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i) + 2) << "operation " << i;
    }
}
#endif

} // namespace
} // namespace cv
