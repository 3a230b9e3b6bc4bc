#include "foundation/yaml_store.h"

#include "foundation/number_text.h"
#include "platform/file_util.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

namespace cv {
namespace {

thread_local wchar_t t_lastParseError[kLastParseErrorSize] = {};

// libyaml takes tags and texts as writable pointers but only copies them.
yaml_char_t* YamlText(const char* text) {
    return reinterpret_cast<yaml_char_t*>(const_cast<char*>(text));
}

void SetLastParseError(const std::wstring& text) {
    // A text that does not fit leaves the old one, rather than a cut one.
    if (text.size() < kLastParseErrorSize) {
        std::wmemcpy(t_lastParseError, text.c_str(), text.size() + 1);
    }
}

StringW WideFromUtf8(const char* text) {
    StringW wide;
    StringA(text).FromUtf8(wide);
    return wide;
}

int AddScalar(yaml_document_t* document, const char* text, yaml_scalar_style_t style) {
    return yaml_document_add_scalar(document, YamlText(YAML_STR_TAG), YamlText(text),
                                    static_cast<int>(std::strlen(text)), style);
}

int ToNode(yaml_document_t* document, const Value& value, std::size_t depth) {
    if (depth > kMaxYamlDepth) {
        return 0; // the emitter recurses as deep as the tree
    }
    switch (value.GetType()) {
        case Value::Type::kBool:
            return AddScalar(document, value.ToBool() ? "true" : "false", YAML_PLAIN_SCALAR_STYLE);
        case Value::Type::kNumber:
            return AddScalar(document, FormatFixed(value.AsNumber()).c_str(),
                             YAML_PLAIN_SCALAR_STYLE);
        case Value::Type::kString: {
            StringA narrow;
            value.AsString().ToUtf8(narrow);
            return AddScalar(document, narrow.GetString(), YAML_DOUBLE_QUOTED_SCALAR_STYLE);
        }
        case Value::Type::kArray: {
            int sequence = yaml_document_add_sequence(document, YamlText(YAML_SEQ_TAG),
                                                      YAML_ANY_SEQUENCE_STYLE);
            for (u32 i = 0, size = sequence != 0 ? value.Size() : 0; i < size; ++i) {
                int item = ToNode(document, value.At(i), depth + 1);
                if (item == 0 || !yaml_document_append_sequence_item(document, sequence, item)) {
                    return 0;
                }
            }
            return sequence;
        }
        case Value::Type::kDict: {
            int mapping =
                yaml_document_add_mapping(document, YamlText(YAML_MAP_TAG), YAML_ANY_MAPPING_STYLE);
            if (mapping == 0) {
                return 0;
            }
            for (const auto& [key, item] : value) {
                int keyNode = ToNode(document, Value(key), depth + 1);
                int valueNode = keyNode != 0 ? ToNode(document, item, depth + 1) : 0;
                if (valueNode == 0 ||
                    !yaml_document_append_mapping_pair(document, mapping, keyNode, valueNode)) {
                    return 0;
                }
            }
            return mapping;
        }
        default:
            return AddScalar(document, "", YAML_PLAIN_SCALAR_STYLE);
    }
}

Value FromPlainScalar(const char* text, std::size_t length) {
    std::string_view view(text, length);
    if (view.empty() || view == "null") {
        return Value();
    }
    if (view == "true") {
        return Value(true);
    }
    if (view == "false") {
        return Value(false);
    }
    if (std::optional<std::int32_t> number = ParseWholeInt32(view)) {
        return Value(*number);
    }
    if (std::optional<double> number = ParseWholeDouble(view)) {
        return Value(*number);
    }
    return Value(WideFromUtf8(text));
}

// Aliases let a small file name one node many times, and even inside itself: the budget and the
// depth bound what a hostile file can make of that.
struct Conversion {
    yaml_document_t* document;
    std::size_t budget = kMaxYamlNodes;
    bool exceeded = false;
};

Value FromNode(Conversion& conversion, yaml_node_t* node, std::size_t depth) {
    if (node == nullptr) {
        return Value();
    }
    if (depth > kMaxYamlDepth || conversion.budget == 0) {
        conversion.exceeded = true;
        return Value();
    }
    --conversion.budget;
    switch (node->type) {
        case YAML_SCALAR_NODE: {
            const auto* text = reinterpret_cast<const char*>(node->data.scalar.value);
            if (node->data.scalar.style != YAML_PLAIN_SCALAR_STYLE) {
                return Value(WideFromUtf8(text));
            }
            return FromPlainScalar(text, node->data.scalar.length);
        }
        case YAML_SEQUENCE_NODE: {
            Value array(Value::Type::kArray);
            for (yaml_node_item_t* item = node->data.sequence.items.start;
                 item < node->data.sequence.items.top && !conversion.exceeded; ++item) {
                array.Append(FromNode(
                    conversion, yaml_document_get_node(conversion.document, *item), depth + 1));
            }
            return array;
        }
        case YAML_MAPPING_NODE: {
            Value dict(Value::Type::kDict);
            for (yaml_node_pair_t* pair = node->data.mapping.pairs.start;
                 pair < node->data.mapping.pairs.top && !conversion.exceeded; ++pair) {
                yaml_node_t* key = yaml_document_get_node(conversion.document, pair->key);
                if (key == nullptr || key->type != YAML_SCALAR_NODE) {
                    continue;
                }
                StringW name = WideFromUtf8(reinterpret_cast<const char*>(key->data.scalar.value));
                dict[name.GetString()] =
                    FromNode(conversion, yaml_document_get_node(conversion.document, pair->value),
                             depth + 1);
            }
            return dict;
        }
        default:
            return Value();
    }
}

int ReadFromFile(void* file, unsigned char* buffer, size_t size, size_t* sizeRead) {
    auto* stream = static_cast<std::FILE*>(file);
    *sizeRead = std::fread(buffer, 1, size, stream);
    return std::ferror(stream) ? 0 : 1;
}

int WriteToFile(void* file, unsigned char* buffer, size_t size) {
    return std::fwrite(buffer, 1, size, static_cast<std::FILE*>(file)) == size ? 1 : 0;
}

std::wstring ParseErrorText(const yaml_parser_t& parser) {
    StringW problem = WideFromUtf8(parser.problem != nullptr ? parser.problem : "");
    return L"parsing error at line" +
           std::to_wstring(static_cast<unsigned>(parser.problem_mark.line + 1)) + L"," +
           std::to_wstring(static_cast<unsigned>(parser.problem_mark.column)) + L"," +
           problem.GetString();
}

struct ParserTraits {
    using Type = yaml_parser_t*;
    static constexpr Type Invalid() noexcept { return nullptr; }
    static void Close(Type parser) noexcept { yaml_parser_delete(parser); }
};

struct DocumentTraits {
    using Type = yaml_document_t*;
    static constexpr Type Invalid() noexcept { return nullptr; }
    static void Close(Type document) noexcept { yaml_document_delete(document); }
};

struct EmitterTraits {
    using Type = yaml_emitter_t*;
    static constexpr Type Invalid() noexcept { return nullptr; }
    static void Close(Type emitter) noexcept {
        if (emitter->opened) {
            yaml_emitter_close(emitter);
        }
        yaml_emitter_delete(emitter);
    }
};

} // namespace

u32 ValueToYamlNode(yaml_document_t* document, const Value& value) {
    return static_cast<u32>(ToNode(document, value, 0));
}

Value ValueFromYamlNode(yaml_document_t* document, yaml_node_t* node) {
    Conversion conversion{document};
    return FromNode(conversion, node, 0);
}

Value LoadYamlFile(const wchar_t* path) {
    yaml_parser_t parserState;
    if (!yaml_parser_initialize(&parserState)) {
        return Value();
    }
    platform::UniqueResource<ParserTraits> parser(&parserState);

    platform::OpenFileResult opened = platform::OpenTextFile(path, platform::TextFileMode::kRead);
    if (!opened.file) {
        return Value();
    }
    yaml_parser_set_input(parser.get(), &ReadFromFile, opened.file.get());

    yaml_document_t documentState;
    if (!yaml_parser_load(parser.get(), &documentState)) {
        SetLastParseError(ParseErrorText(parserState));
        return Value();
    }
    platform::UniqueResource<DocumentTraits> document(&documentState);
    opened.file.reset();
    parser.reset();

    Conversion conversion{document.get()};
    Value value = FromNode(conversion, yaml_document_get_root_node(document.get()), 0);
    if (conversion.exceeded) {
        SetLastParseError(L"document nested deeper than " + std::to_wstring(kMaxYamlDepth) +
                          L" levels or larger than " + std::to_wstring(kMaxYamlNodes) + L" values");
        return Value();
    }
    return value;
}

bool SaveYamlFile(const Value& value, const wchar_t* path) {
    if (path == nullptr) {
        return false;
    }
    // Explicit start and end: the file begins with "---" and ends with "...".
    yaml_document_t documentState;
    if (!yaml_document_initialize(&documentState, nullptr, nullptr, nullptr, 0, 0)) {
        return false;
    }
    platform::UniqueResource<DocumentTraits> document(&documentState);

    // Declared before the emitter: closing an opened emitter still writes to the file.
    platform::UniqueFile file;
    yaml_emitter_t emitterState;
    if (!yaml_emitter_initialize(&emitterState)) {
        return false;
    }
    platform::UniqueResource<EmitterTraits> emitter(&emitterState);

    const std::wstring temporary = std::wstring(path) + L".temp";
    file = platform::OpenTextFile(temporary.c_str(), platform::TextFileMode::kWrite).file;
    if (!file) {
        return false;
    }
    if (ValueToYamlNode(document.get(), value) == 0) {
        return false;
    }
    yaml_emitter_set_output(emitter.get(), &WriteToFile, file.get());
    if (!yaml_emitter_open(emitter.get())) {
        return false;
    }
    // The emitter takes the document over and frees it, on failure too.
    if (!yaml_emitter_dump(emitter.get(), document.release()) ||
        !yaml_emitter_close(emitter.get())) {
        return false;
    }
    // A failure to flush shows as a short file at the next load; the rename decides the result.
    (void)platform::FlushToDisk(file.get());
    file.reset();
    return platform::ReplaceFileAtomically(temporary.c_str(), path) == platform::kErrorSuccess;
}

const wchar_t* GetLastParseError() {
    return t_lastParseError;
}

} // namespace cv
