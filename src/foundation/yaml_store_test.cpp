#include "foundation/yaml_store.h"

#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace cv {
namespace {

namespace fs = std::filesystem;

std::string ReadNormalised(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

void WriteBytes(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::wstring Text(const Value& value) {
    return value.AsString().GetString();
}

class YamlStoreTest : public ::testing::Test {
protected:
    Value LoadText(const std::string& text) {
        WriteBytes(m_dir.Path() / "in.yaml", text);
        return LoadYamlFile(m_dir.File(L"in.yaml").c_str());
    }

    platform::testing::TempDir m_dir;
};

TEST_F(YamlStoreTest, PlainScalarsFollowTheSystemsRules) {
    const Value doc = LoadText("hex: 0x10\n"
                               "octal: 010\n"
                               "big: 99999999999\n"
                               "tilde: ~\n"
                               "yes: yes\n"
                               "Null: Null\n"
                               "TRUE: TRUE\n"
                               "null: null\n"
                               "empty:\n"
                               "true: true\n"
                               "false: false\n"
                               "six: 3.000000\n"
                               "exp: 1e3\n"
                               "half: .5\n"
                               "inf: inf\n"
                               "neg: -12\n"
                               "word: hello world\n");
    ASSERT_EQ(doc.GetType(), Value::Type::kDict);
    EXPECT_EQ(doc.At(L"hex").AsNumber(), 16);
    EXPECT_EQ(doc.At(L"octal").AsNumber(), 8);
    EXPECT_EQ(doc.At(L"big").AsNumber(), 2147483647);
    EXPECT_EQ(Text(doc.At(L"tilde")), L"~");
    EXPECT_EQ(Text(doc.At(L"yes")), L"yes");
    EXPECT_EQ(Text(doc.At(L"Null")), L"Null");
    EXPECT_EQ(Text(doc.At(L"TRUE")), L"TRUE");
    EXPECT_EQ(doc.At(L"null").GetType(), Value::Type::kNull); // and the key is the text "null"
    EXPECT_EQ(doc.At(L"empty").GetType(), Value::Type::kNull);
    EXPECT_EQ(doc.At(L"true").GetType(), Value::Type::kBool);
    EXPECT_TRUE(doc.At(L"true").ToBool());
    EXPECT_FALSE(doc.At(L"false").ToBool());
    EXPECT_EQ(doc.At(L"six").AsNumber(), 3);
    EXPECT_EQ(doc.At(L"exp").AsNumber(), 1000);
    EXPECT_EQ(doc.At(L"half").AsNumber(), 0.5);
    EXPECT_TRUE(std::isinf(doc.At(L"inf").AsNumber()));
    EXPECT_EQ(doc.At(L"neg").AsNumber(), -12);
    EXPECT_EQ(Text(doc.At(L"word")), L"hello world");
}

TEST_F(YamlStoreTest, QuotedScalarsAndKeysAreStrings) {
    const Value doc = LoadText("12: \"true\"\n"
                               "'x': '12'\n"
                               "block: |\n  line\n"
                               "dup: 1\n"
                               "other: 2\n"
                               "dup: 3\n"
                               "[a]: dropped\n");
    EXPECT_EQ(Text(doc.At(L"12")), L"true");
    EXPECT_EQ(Text(doc.At(L"x")), L"12");
    EXPECT_EQ(Text(doc.At(L"block")), L"line\n");
    // The last of two equal keys wins, at the first one's place; a key that is no scalar is left
    // out.
    ASSERT_EQ(doc.Size(), 5u);
    auto it = doc.Begin();
    for (int i = 0; i < 3; ++i) {
        ++it;
    }
    EXPECT_EQ(std::wstring((*it).key.GetString()), L"dup");
    EXPECT_EQ((*it).value.AsNumber(), 3);
}

TEST_F(YamlStoreTest, SavedValuesLoadBackWithTheirKinds) {
    Value doc;
    doc[L"string true"] = L"true";
    doc[L"string 12"] = L"12";
    doc[L"nothing"] = Value();
    doc[L"three"] = 3;
    doc[L"fraction"] = -0.25;
    doc[L"flag"] = false;
    doc[L"caf\u00e9 \u20ac"] = L"\u00fcber \u6f22\u5b57";
    doc[L"empty list"] = Value(Value::Type::kArray);
    doc[L"empty dict"] = Value(Value::Type::kDict);
    Value& list = doc[L"list"];
    list.Append(Value(1));
    list.Append(Value(L"two"));
    list.Append(Value());
    list.Append(doc[L"empty dict"]);

    const std::wstring path = m_dir.File(L"doc.yaml");
    ASSERT_TRUE(SaveYamlFile(doc, path.c_str()));
    EXPECT_FALSE(fs::exists(m_dir.Path() / "doc.yaml.temp"));

    const std::string text = ReadNormalised(m_dir.Path() / "doc.yaml");
    EXPECT_EQ(text.rfind("---", 0), 0u) << text;
    EXPECT_TRUE(text.ends_with("...\n")) << text;
    EXPECT_NE(text.find("\"string true\": \"true\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"three\": 3.000000"), std::string::npos) << text;
    EXPECT_NE(text.find("\"empty list\": []"), std::string::npos) << text;
    EXPECT_NE(text.find("\"empty dict\": {}"), std::string::npos) << text;
    EXPECT_EQ(text.find("\u00e9"), std::string::npos) << "non-ASCII is escaped: " << text;

    const Value loaded = LoadYamlFile(path.c_str());
    EXPECT_EQ(loaded.ToString(), doc.ToString());
    EXPECT_EQ(loaded.At(L"string 12").GetType(), Value::Type::kString);
    EXPECT_EQ(loaded.At(L"nothing").GetType(), Value::Type::kNull);
    EXPECT_EQ(loaded.At(L"empty list").GetType(), Value::Type::kArray);
    EXPECT_EQ(loaded.At(L"empty dict").GetType(), Value::Type::kDict);
    std::wstring order;
    for (const auto& [key, value] : loaded) {
        order += key.GetString()[0];
    }
    EXPECT_EQ(order, L"ssntffceel"); // insertion order survives
}

TEST_F(YamlStoreTest, EmptyFileIsNullWithoutAnErrorText) {
    std::thread([&] {
        EXPECT_EQ(LoadText("").GetType(), Value::Type::kNull);
        EXPECT_STREQ(GetLastParseError(), L"");
    }).join();
}

TEST_F(YamlStoreTest, SyntaxErrorLeavesATextThatLaterLoadsKeep) {
    std::wstring error;
    std::thread([&] {
        EXPECT_EQ(LoadText("a: 1\n\tb: 2\n").GetType(), Value::Type::kNull);
        error = GetLastParseError();
        EXPECT_EQ(LoadText("a: 1\n").GetType(), Value::Type::kDict);
        EXPECT_EQ(error, GetLastParseError());
        EXPECT_EQ(LoadText("").GetType(), Value::Type::kNull);
        EXPECT_EQ(error, GetLastParseError());
    }).join();
    EXPECT_EQ(error.rfind(L"parsing error at line2,", 0), 0u) << error;

    std::thread([&] {
        EXPECT_EQ(LoadText("a:\n  b: 1\n c: 2\n").GetType(), Value::Type::kNull);
        EXPECT_STREQ(GetLastParseError(), L"parsing error at line3,1,did not find expected key");
    }).join();
}

TEST_F(YamlStoreTest, UnreadablePathsGiveNullAndKeepTheErrorText) {
    std::thread([&] {
        LoadText("[");
        const std::wstring before = GetLastParseError();
        ASSERT_FALSE(before.empty());
        EXPECT_EQ(LoadYamlFile(m_dir.File(L"absent.yaml").c_str()).GetType(), Value::Type::kNull);
        fs::create_directory(m_dir.Path() / "folder.yaml");
        EXPECT_EQ(LoadYamlFile(m_dir.File(L"folder.yaml").c_str()).GetType(), Value::Type::kNull);
        EXPECT_EQ(before, GetLastParseError());
    }).join();
}

TEST_F(YamlStoreTest, HostileNestingAndAliasesAreRefused) {
    const std::string deep =
        std::string(kMaxYamlDepth + 10, '[') + std::string(kMaxYamlDepth + 10, ']');
    EXPECT_EQ(LoadText(deep).GetType(), Value::Type::kNull);
    EXPECT_EQ(std::wstring(GetLastParseError()).rfind(L"document nested deeper", 0), 0u);

    EXPECT_EQ(LoadText("&a [*a]\n").GetType(), Value::Type::kNull);

    std::string laughs = "a: &a [x, x, x, x, x, x, x, x, x, x]\n";
    for (char name = 'b'; name <= 'h'; ++name) {
        laughs += std::string(1, name) + ": &" + name;
        laughs += std::string(" [") + "*" + static_cast<char>(name - 1);
        for (int i = 0; i < 9; ++i) {
            laughs += std::string(", *") + static_cast<char>(name - 1);
        }
        laughs += "]\n";
    }
    EXPECT_EQ(LoadText(laughs).GetType(), Value::Type::kNull);

    // A few aliases are fine.
    const Value shared = LoadText("base: &b {k: 1}\ncopy: *b\n");
    EXPECT_EQ(shared.At(L"copy").At(L"k").AsNumber(), 1);
}

TEST_F(YamlStoreTest, SaveIntoAMissingFolderFailsAndCreatesNothing) {
    Value doc;
    doc[L"k"] = L"v";
    EXPECT_FALSE(SaveYamlFile(doc, m_dir.File(L"missing/doc.yaml").c_str()));
    EXPECT_FALSE(fs::exists(m_dir.Path() / "missing"));
}

TEST_F(YamlStoreTest, FailedRenameKeepsTheTargetAndLeavesACompleteTemporary) {
    // A non-empty directory cannot be replaced by a file, whatever the rights.
    fs::create_directories(m_dir.Path() / "doc.yaml" / "inner");
    Value doc;
    doc[L"language"] = L"de-de";
    const std::wstring path = m_dir.File(L"doc.yaml");
    EXPECT_FALSE(SaveYamlFile(doc, path.c_str()));
    EXPECT_TRUE(fs::is_directory(m_dir.Path() / "doc.yaml" / "inner"));
    const Value left = LoadYamlFile((path + L".temp").c_str());
    EXPECT_EQ(Text(left.At(L"language")), L"de-de");
}

TEST_F(YamlStoreTest, SaveTruncatesAnOldTemporaryAndReplacesTheOldFile) {
    const std::wstring path = m_dir.File(L"doc.yaml");
    WriteBytes(m_dir.Path() / "doc.yaml", "old: 1\n");
    WriteBytes(m_dir.Path() / "doc.yaml.temp", std::string(10000, '#'));
    Value doc;
    doc[L"new"] = true;
    ASSERT_TRUE(SaveYamlFile(doc, path.c_str()));
    const Value loaded = LoadYamlFile(path.c_str());
    EXPECT_FALSE(loaded.HasKey(L"old"));
    EXPECT_TRUE(loaded.At(L"new").ToBool());
}

TEST_F(YamlStoreTest, UnopenableTemporaryKeepsTheOldFile) {
    const std::wstring path = m_dir.File(L"doc.yaml");
    WriteBytes(m_dir.Path() / "doc.yaml", "old: 1\n");
    fs::create_directory(m_dir.Path() / "doc.yaml.temp");
    EXPECT_FALSE(SaveYamlFile(Value(true), path.c_str()));
    EXPECT_EQ(ReadNormalised(m_dir.Path() / "doc.yaml"), "old: 1\n");
}

TEST(ValueToYamlNodeTest, KindsAreCarriedByStyleUnderTheStringTag) {
    yaml_document_t document;
    ASSERT_TRUE(yaml_document_initialize(&document, nullptr, nullptr, nullptr, 0, 0));
    Value dict;
    dict[L"n"] = 3;
    const u32 top = ValueToYamlNode(&document, dict);
    yaml_node_t* mapping = yaml_document_get_node(&document, static_cast<int>(top));
    ASSERT_NE(mapping, nullptr);
    ASSERT_EQ(mapping->type, YAML_MAPPING_NODE);
    const yaml_node_pair_t pair = *mapping->data.mapping.pairs.start;
    EXPECT_LT(pair.key, pair.value);
    yaml_node_t* key = yaml_document_get_node(&document, pair.key);
    yaml_node_t* value = yaml_document_get_node(&document, pair.value);
    EXPECT_EQ(key->data.scalar.style, YAML_DOUBLE_QUOTED_SCALAR_STYLE);
    EXPECT_EQ(value->data.scalar.style, YAML_PLAIN_SCALAR_STYLE);
    EXPECT_STREQ(reinterpret_cast<const char*>(value->data.scalar.value), "3.000000");
    EXPECT_STREQ(reinterpret_cast<const char*>(value->tag), YAML_STR_TAG);
    EXPECT_EQ(ValueFromYamlNode(&document, mapping).At(L"n").AsNumber(), 3);
    EXPECT_EQ(ValueFromYamlNode(&document, nullptr).GetType(), Value::Type::kNull);
    yaml_document_delete(&document);
}

} // namespace
} // namespace cv
