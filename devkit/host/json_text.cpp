#include "devkit/host/json_text.h"

#include "platform/utf8.h"

#include <jansson.h>

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace devkit::host {

namespace {

std::string NumberText(double number) {
    if (!std::isfinite(number)) {
        return "null";
    }
    char buffer[64];
    auto written = std::to_chars(buffer, buffer + sizeof buffer, number);
    return std::string(buffer, written.ptr);
}

std::string WideText(const cv::StringW& text) {
    return platform::WideToUtf8(std::wstring_view(text.GetString(), text.GetLength()));
}

void Append(std::string& out, const cv::Value& value) {
    switch (value.GetType()) {
        case cv::Value::Type::kNumber:
            out += NumberText(value.AsNumber());
            return;
        case cv::Value::Type::kBool:
            out += value.ToBool() ? "true" : "false";
            return;
        case cv::Value::Type::kString:
            out += JsonString(WideText(value.AsString()));
            return;
        case cv::Value::Type::kArray:
            out += '[';
            for (cv::u32 i = 0; i < value.Size(); ++i) {
                if (i != 0) {
                    out += ',';
                }
                Append(out, value.At(i));
            }
            out += ']';
            return;
        case cv::Value::Type::kDict: {
            out += '{';
            bool first = true;
            for (const auto& entry : value) {
                if (!first) {
                    out += ',';
                }
                first = false;
                out += JsonString(WideText(entry.key));
                out += ':';
                Append(out, entry.value);
            }
            out += '}';
            return;
        }
        case cv::Value::Type::kNull:
            break;
    }
    out += "null";
}

} // namespace

std::string ValueToJsonText(const cv::Value& value) {
    std::string out;
    Append(out, value);
    return out;
}

std::string JsonString(std::string_view utf8) {
    json_t* string = json_stringn(utf8.data(), utf8.size());
    if (string == nullptr) {
        // Not UTF-8 (a POSIX argument may be any bytes): show it with replacement characters.
        std::string repaired = platform::WideToUtf8(platform::Utf8ToWide(utf8));
        string = json_stringn_nocheck(repaired.data(), repaired.size());
    }
    char* text = string ? json_dumps(string, JSON_ENCODE_ANY) : nullptr;
    json_decref(string);
    if (text == nullptr) {
        return "\"\"";
    }
    std::string result(text);
    std::free(text);
    return result;
}

std::string JsonString(const wchar_t* text) {
    if (text == nullptr) {
        return "null";
    }
    return JsonString(platform::WideToUtf8(std::wstring_view(text)));
}

} // namespace devkit::host
