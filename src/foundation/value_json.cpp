#include "foundation/value_json.h"

#include <climits>
#include <cstdint>
#include <string>

namespace cv {
namespace {

std::int64_t TruncateToInt64(double number) noexcept {
    // Out of range and NaN give the smallest integer, as the x86 conversion does.
    if (number >= -9223372036854775808.0 && number < 9223372036854775808.0) {
        return static_cast<std::int64_t>(number);
    }
    return INT64_MIN;
}

StringW Utf8ToWide(const char* text) {
    StringW wide;
    StringA(text).FromUtf8(wide);
    return wide;
}

std::string WideToUtf8(const StringW& text) {
    StringA narrow;
    text.ToUtf8(narrow);
    return std::string(narrow.GetString(), narrow.GetLength());
}

} // namespace

Value ValueFromJson(const Json& json) {
    Value result;
    if (json.IsNull()) {
        return result;
    }
    if (json.IsBool()) {
        result = json.IsTrue();
    } else if (json.IsReal()) {
        result = json.AsReal();
    } else if (json.IsInteger()) {
        result = json.AsInt();
    } else if (json.IsString()) {
        result = Value(Utf8ToWide(json.GetCString(nullptr)));
    } else if (json.IsArray()) {
        result = Value(Value::Type::kArray);
        for (std::uint32_t i = 0; i < json.Size(); ++i) {
            result.Append(ValueFromJson(json.At(i)));
        }
    } else if (json.IsObject()) {
        result = Value(Value::Type::kDict);
        for (const std::string& key : json.Keys()) {
            result[Utf8ToWide(key.c_str()).GetString()] = ValueFromJson(json.Get(key));
        }
    }
    return result;
}

Json ValueToJson(const Value& value) {
    switch (value.GetType()) {
        case Value::Type::kNull: {
            Json json;
            json.SetNull();
            return json;
        }
        case Value::Type::kBool:
            return Json(value.ToBool());
        case Value::Type::kNumber:
            return Json(TruncateToInt64(value.AsNumber()));
        case Value::Type::kString:
            return Json(WideToUtf8(value.AsString()).c_str());
        case Value::Type::kArray: {
            JsonArray array;
            for (std::uint32_t i = 0; i < value.Size(); ++i) {
                array.Append(ValueToJson(value.At(i)));
            }
            return array;
        }
        case Value::Type::kDict: {
            JsonObject object;
            for (auto [key, member] : value) {
                object.Set(WideToUtf8(key), ValueToJson(member));
            }
            return object;
        }
    }
    return Json();
}

} // namespace cv
