#include "foundation/yaml_store.h"

#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace cv {
namespace {

namespace fs = std::filesystem;

using platform_testing::ReadTextFile;
using platform_testing::WriteFile;

std::wstring Render(const Value& value) {
    return value.ToString().GetString();
}

class YamlStoreTest : public ::testing::Test {
protected:
    Value LoadText(const std::string& text) {
        WriteFile(m_dir.Path() / "in.yaml", text);
        return LoadYamlFile(m_dir.File(L"in.yaml").c_str());
    }

    platform_testing::TempDir m_dir;
};

TEST_F(YamlStoreTest, ScalarsFollowTheSystemsRules) {
    const struct {
        const char* scalar;
        Value expected;
    } cases[] = {
        {"0x10", Value(16)},
        {"010", Value(8)},
        {"99999999999", Value(2147483647)},
        {"3.000000", Value(3)},
        {"~", Value(L"~")},
        {"yes", Value(L"yes")},
        {"TRUE", Value(L"TRUE")},
        {"hello world", Value(L"hello world")},
        {"null", Value()},
        {"", Value()},
        {"true", Value(true)},
        {"\"true\"", Value(L"true")},
        {"'12'", Value(L"12")},
        {"|\n  line", Value(L"line\n")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.scalar);
        const Value got = LoadText(std::string("k: ") + c.scalar + "\n").At(L"k");
        EXPECT_EQ(got.GetType(), c.expected.GetType());
        EXPECT_EQ(Render(got), Render(c.expected));
        EXPECT_TRUE(got.GetType() != Value::Type::kNumber ||
                    got.AsNumber() == c.expected.AsNumber());
    }
    // Keys are texts; the last of equal keys wins at the first one's place; a key that is no
    // scalar is left out.
    const Value doc = LoadText("null: 1\n12: 2\ndup: 1\nother: 2\ndup: 3\n[a]: dropped\n");
    EXPECT_EQ(Render(doc), L"{ \"12\" : 2, \"dup\" : 3, \"null\" : 1, \"other\" : 2 }");
    std::wstring order;
    for (const auto& [key, value] : doc) {
        order += key.GetString()[0];
    }
    EXPECT_EQ(order, L"n1do");
}

TEST_F(YamlStoreTest, SaveWritesKindsByStyleAndWhatLoadsBackSavesAlike) {
    Value doc;
    doc[L"string true"] = L"true";
    doc[L"string 12"] = L"12";
    doc[L"nothing"] = Value();
    doc[L"three"] = 3;
    doc[L"flag"] = false;
    doc[L"caf\u00e9 \u20ac"] = L"\u00fcber \u6f22\u5b57";
    doc[L"empty list"] = Value(Value::Type::kArray);
    doc[L"list"].Append(Value(L"two"));
    doc[L"list"].Append(Value(Value::Type::kDict));

    // A save replaces the old file and truncates a temporary that an earlier failure left.
    const std::wstring path = m_dir.File(L"doc.yaml");
    WriteFile(m_dir.Path() / "doc.yaml", "old: 1\n");
    WriteFile(m_dir.Path() / "doc.yaml.temp", std::string(10000, '#'));
    ASSERT_TRUE(SaveYamlFile(doc, path.c_str()));
    EXPECT_FALSE(fs::exists(m_dir.Path() / "doc.yaml.temp"));
    const std::string text = ReadTextFile(m_dir.Path() / "doc.yaml");
    EXPECT_EQ(text, R"(---
"string true": "true"
"string 12": "12"
"nothing":
"three": 3.000000
"flag": false
"caf\xE9 \u20AC": "\xFCber \u6F22\u5B57"
"empty list": []
"list":
- "two"
- {}
...
)");

    ASSERT_TRUE(SaveYamlFile(LoadYamlFile(path.c_str()), path.c_str()));
    EXPECT_EQ(ReadTextFile(m_dir.Path() / "doc.yaml"), text);
}

// Only a syntax error writes the text, and each thread has its own.
TEST_F(YamlStoreTest, LastParseErrorBelongsToTheThread) {
    const wchar_t* kError = L"parsing error at line3,1,did not find expected key";
    std::thread([&] {
        EXPECT_EQ(LoadText("").GetType(), Value::Type::kNull);
        EXPECT_STREQ(GetLastParseError(), L"") << "an empty file is no error";
        EXPECT_EQ(LoadText("a:\n  b: 1\n c: 2\n").GetType(), Value::Type::kNull);
        EXPECT_STREQ(GetLastParseError(), kError);

        EXPECT_EQ(LoadText("a: 1\n").GetType(), Value::Type::kDict);
        EXPECT_EQ(LoadText("").GetType(), Value::Type::kNull);
        EXPECT_EQ(LoadYamlFile(m_dir.File(L"absent.yaml").c_str()).GetType(), Value::Type::kNull);
        fs::create_directory(m_dir.Path() / "folder.yaml");
        EXPECT_EQ(LoadYamlFile(m_dir.File(L"folder.yaml").c_str()).GetType(), Value::Type::kNull);
        EXPECT_STREQ(GetLastParseError(), kError);
    }).join();
    std::thread([] { EXPECT_STREQ(GetLastParseError(), L""); }).join();
}

TEST_F(YamlStoreTest, HostileNestingAndAliasesAreRefused) {
    const std::string deep =
        std::string(kMaxYamlDepth + 10, '[') + std::string(kMaxYamlDepth + 10, ']');
    EXPECT_EQ(LoadText(deep).GetType(), Value::Type::kNull);
    EXPECT_EQ(std::wstring(GetLastParseError()).rfind(L"document nested deeper", 0), 0u);
    EXPECT_EQ(LoadText("&a [*a]\n").GetType(), Value::Type::kNull);

    std::string laughs = "a: &a [x, x, x, x, x, x, x, x, x, x]\n";
    for (char name = 'b'; name <= 'h'; ++name) {
        const std::string prior = std::string("*") + static_cast<char>(name - 1);
        laughs += std::string(1, name) + ": &" + name + " [" + prior;
        for (int i = 0; i < 9; ++i) {
            laughs += ", " + prior;
        }
        laughs += "]\n";
    }
    EXPECT_EQ(LoadText(laughs).GetType(), Value::Type::kNull);
    // A few aliases are fine.
    EXPECT_EQ(Render(LoadText("b: &b {k: 1}\nc: *b\n")),
              L"{ \"b\" : { \"k\" : 1 }, \"c\" : { \"k\" : 1 } }");
}

TEST_F(YamlStoreTest, FailedSavesKeepWhatWasThere) {
    Value doc;
    doc[L"language"] = L"de-de";
    EXPECT_FALSE(SaveYamlFile(doc, m_dir.File(L"missing/doc.yaml").c_str()));
    EXPECT_FALSE(fs::exists(m_dir.Path() / "missing"));

    // A non-empty directory cannot be replaced by a file, whatever the rights; the complete
    // temporary stays behind.
    fs::create_directories(m_dir.Path() / "dir.yaml" / "inner");
    EXPECT_FALSE(SaveYamlFile(doc, m_dir.File(L"dir.yaml").c_str()));
    EXPECT_TRUE(fs::is_directory(m_dir.Path() / "dir.yaml" / "inner"));
    EXPECT_EQ(Render(LoadYamlFile(m_dir.File(L"dir.yaml.temp").c_str())), Render(doc));

    WriteFile(m_dir.Path() / "doc.yaml", "old: 1\n");
    fs::create_directory(m_dir.Path() / "doc.yaml.temp"); // the temporary cannot be opened
    EXPECT_FALSE(SaveYamlFile(doc, m_dir.File(L"doc.yaml").c_str()));
    EXPECT_EQ(ReadTextFile(m_dir.Path() / "doc.yaml"), "old: 1\n");
}

} // namespace
} // namespace cv
