// Owned jansson values and the few reads that the emulator and its client repeat.
#pragma once

#include <jansson.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace devkit::cloud {

struct JsonDeleter {
    void operator()(json_t* value) const { json_decref(value); }
};
using JsonPtr = std::unique_ptr<json_t, JsonDeleter>;

// The parsed text, or null when it is not JSON (NUL bytes inside strings are refused).
inline JsonPtr ParseJson(std::string_view text) {
    json_error_t error;
    return JsonPtr(json_loadb(text.data(), text.size(), 0, &error));
}

// Compact text of any value; "null" for a null pointer.
inline std::string DumpJson(const json_t* value) {
    if (!value) {
        return "null";
    }
    char* text = json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY);
    std::string result = text ? text : "null";
    free(text);
    return result;
}

// The string member `key` of `object`, or nullopt when it is missing or not a string.
inline std::optional<std::string> StringMember(const json_t* object, const char* key) {
    const json_t* member = json_object_get(object, key);
    if (!json_is_string(member)) {
        return std::nullopt;
    }
    return std::string(json_string_value(member), json_string_length(member));
}

} // namespace devkit::cloud
