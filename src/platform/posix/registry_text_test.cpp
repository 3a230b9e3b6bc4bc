// The POSIX registry's file text: what each value prints as, what each line parses to, and the
// name folding the tree matches with.
#include "platform/posix/registry_text.h"

#include "platform/registry.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace platform::posix {
namespace {

std::vector<std::byte> Bytes(std::initializer_list<unsigned> values) {
    std::vector<std::byte> bytes;
    for (unsigned value : values) {
        bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

std::vector<std::byte> Text(const std::wstring& text) {
    return RegistryBytesFromText(text);
}

const std::string kHeader = "nexilo-registry 1\n";

TEST(RegistryTextTest, EachValuePrintsInItsForm) {
    const struct {
        const wchar_t* name;
        std::uint32_t type;
        std::vector<std::byte> data;
        const char* line;
    } cases[] = {
        {L"Fingerprint", kRegSz, Text(L"fp-1"), "V\tKey\tFingerprint\tsz\tfp-1"},
        {L"", kRegExpandSz, Text(L"%PATH%"), "V\tKey\t\texpand_sz\t%25PATH%25"},
        {L"list", kRegMultiSz, Bytes({'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}),
         "V\tKey\tlist\tmulti_sz\ta%00b%00"},
        {L"n", kRegDword, Bytes({7, 1, 0, 0}), "V\tKey\tn\tdword\t263"},
        {L"q", kRegQword, Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
         "V\tKey\tq\tqword\t18446744073709551615"},
        // Data that does not fit its type's form keeps its bytes.
        {L"empty", kRegSz, Bytes({0, 0}), "V\tKey\tempty\tsz\t"},
        {L"open", kRegSz, Bytes({'a', 0, 'b', 0}), "V\tKey\topen\thex:1\t61006200"},
        {L"odd", kRegSz, Bytes({'a', 0, 0}), "V\tKey\todd\thex:1\t610000"},
        {L"short", kRegDword, Bytes({1, 0, 0}), "V\tKey\tshort\thex:4\t010000"},
        {L"custom", 99, Bytes({}), "V\tKey\tcustom\thex:99\t"},
        // Escapes: '%', control characters, DEL and lone surrogates; the rest is UTF-8.
        {L"tab\tand\nline\x7f", kRegSz, Text(L"\u00e9\u20ac"),
         "V\tKey\ttab%09and%0Aline%7F\tsz\t\xc3\xa9\xe2\x82\xac"},
        {L"pair", kRegSz, Bytes({0x3D, 0xD8, 0x00, 0xDE, 0, 0}),
         "V\tKey\tpair\tsz\t\xf0\x9f\x98\x80"},
        {L"lone", kRegSz, Bytes({0x00, 0xD8, 'x', 0, 0, 0}), "V\tKey\tlone\tsz\t%ED%A0%80x"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        RegistryNode top;
        bool created = false;
        PutRegistryValue(EnsureRegistryKey(top, {L"Key"}, created), c.name, c.type, c.data);
        EXPECT_EQ(PrintRegistryText(top), kHeader + "K\tKey\n" + c.line + "\n");

        const ParsedRegistryText parsed = ParseRegistryText(PrintRegistryText(top));
        EXPECT_EQ(parsed.state, RegistryTextState::kClean);
        ASSERT_EQ(parsed.top.children.size(), 1u);
        ASSERT_EQ(parsed.top.children[0].values.size(), 1u);
        const RegistryValue& value = parsed.top.children[0].values[0];
        EXPECT_EQ(value.name, c.name);
        EXPECT_EQ(value.type, c.type);
        EXPECT_EQ(value.data, c.data) << "the bytes come back as they were";
    }
}

TEST(RegistryTextTest, EachLineParsesToItsRecordOrIsLeftOut) {
    const struct {
        const char* what;
        std::string text;
        RegistryTextState state;
        std::string printed; // the tree read, printed again without the header
    } cases[] = {
        {"an empty file", "", RegistryTextState::kClean, ""},
        {"the header alone", kHeader, RegistryTextState::kClean, ""},
        {"CR LF line ends", "nexilo-registry 1\r\nK\tA\r\n", RegistryTextState::kClean, "K\tA\n"},
        {"a key path with empty parts", kHeader + "K\t\\A\\\\B\\\n", RegistryTextState::kClean,
         "K\tA\nK\tA\\B\n"},
        {"a value makes its key", kHeader + "V\tA\\B\tv\tdword\t1\n", RegistryTextState::kClean,
         "K\tA\nK\tA\\B\nV\tA\\B\tv\tdword\t1\n"},
        {"a later line of the same name wins and keeps the first spelling",
         kHeader + "V\t\tName\tdword\t1\nV\t\tNAME\tsz\tx\n", RegistryTextState::kClean,
         "V\t\tName\tsz\tx\n"},
        {"another header", "nexilo-registry 2\nK\tA\n", RegistryTextState::kForeign, ""},
        {"a header without its line end", "nexilo-registry 1", RegistryTextState::kForeign, ""},
        {"a Windows registry export", "[HKEY_LOCAL_MACHINE]\n", RegistryTextState::kForeign, ""},
        {"a last line cut short", kHeader + "K\tA\nK\tB", RegistryTextState::kDamaged, "K\tA\n"},
        {"an unknown record", kHeader + "X\tA\nK\tB\n", RegistryTextState::kDamaged, "K\tB\n"},
        {"a value with a field missing", kHeader + "V\tA\tv\tdword\n", RegistryTextState::kDamaged,
         ""},
        {"a number that is not one", kHeader + "V\t\tv\tdword\t1x\n", RegistryTextState::kDamaged,
         ""},
        {"a dword above 32 bits", kHeader + "V\t\tv\tdword\t4294967296\n",
         RegistryTextState::kDamaged, ""},
        {"odd hex digits", kHeader + "V\t\tv\thex:3\tABC\n", RegistryTextState::kDamaged, ""},
        {"a hex form without its type", kHeader + "V\t\tv\thex:\t00\n", RegistryTextState::kDamaged,
         ""},
        {"a bad escape", kHeader + "V\t\tv%G1\tsz\tx\n", RegistryTextState::kDamaged, ""},
        {"an escape cut short", kHeader + "V\t\tv\tsz\tx%4\n", RegistryTextState::kDamaged, ""},
        {"a raw control character", kHeader + "V\t\tv\tsz\ta\x01\n", RegistryTextState::kDamaged,
         ""},
        {"an overlong UTF-8 form", kHeader + "V\t\tv\tsz\t%C0%80\n", RegistryTextState::kDamaged,
         ""},
        {"a point above U+10FFFF", kHeader + "V\t\tv\tsz\t\xf4\x90\x80\x80\n",
         RegistryTextState::kDamaged, ""},
        {"a name with a NUL", kHeader + "V\t\ta%00b\tsz\tx\n", RegistryTextState::kDamaged, ""},
        {"an empty key name", kHeader + "K\t%00\n", RegistryTextState::kDamaged, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const ParsedRegistryText parsed = ParseRegistryText(c.text);
        EXPECT_EQ(parsed.state, c.state);
        EXPECT_EQ(PrintRegistryText(parsed.top), kHeader + c.printed);
    }
}

TEST(RegistryNameTest, NamesFoldBeyondAsciiAsWindowsFoldsThem) {
    const struct {
        const wchar_t* a;
        const wchar_t* b;
        bool same;
    } cases[] = {
        {L"Fingerprint", L"FINGERPRINT", true},
        {L"Caf\u00e9", L"CAF\u00c9", true},
        {L"\u03c9mega", L"\u03a9MEGA", true},
        {L"Caf\u00e9", L"Cafe", false},
        // Windows upper-cases unit by unit, so no character turns into two.
        {L"stra\u00dfe", L"STRASSE", false},
        {L"a", L"b", false},
        {L"", L"", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SameRegistryName(c.a, c.b), c.same) << c.a << " " << c.b;
    }
}

} // namespace
} // namespace platform::posix
