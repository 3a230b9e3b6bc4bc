// Arbitrary bytes through the path of a cloud reply and back: parse, convert to a value, print
// it, convert to JSON, dump. Beyond staying clean under the sanitizers, the conversion must be
// stable after one round (numbers, keys and strings settle in the first) and its text must parse.
#include "foundation/json.h"
#include "foundation/value_json.h"
#include "nexilo/cv_value.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

std::wstring Printed(const cv::Value& value) {
    cv::StringW text = value.ToString();
    return std::wstring(text.GetString(), text.GetLength());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    cv::Json parsed;
    if (!parsed.Parse(reinterpret_cast<const char*>(data), size,
                      cv::kJsonDecodeAny | cv::kJsonAllowNul)) {
        return 0;
    }
    cv::Value value = cv::ValueFromJson(parsed);
    std::wstring printed = Printed(value);
    (void)value.ToBool();

    cv::Json json = cv::ValueToJson(value);
    std::string text = json.Dump(0);
    std::string any = json.Dump(cv::kJsonEncodeAny | cv::kJsonSortKeys);
    if (any.empty() || (text.empty() && (json.IsObject() || json.IsArray()))) {
        __builtin_trap();
    }

    cv::Json reparsed;
    if (!reparsed.Parse(any, cv::kJsonDecodeAny)) {
        __builtin_trap();
    }
    cv::Value once = cv::ValueFromJson(json);
    cv::Value twice = cv::ValueFromJson(cv::ValueToJson(once));
    if (Printed(once) != Printed(twice) || Printed(cv::ValueFromJson(reparsed)) != Printed(once)) {
        __builtin_trap();
    }

    cv::Value copy = value;
    if (Printed(copy) != printed) {
        __builtin_trap();
    }
    return 0;
}
