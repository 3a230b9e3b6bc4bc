// JSON text for the host's output lines and records: cv::Value and wide texts as compact JSON.
//
// Contract: ValueToJsonText shows what the value holds, without the system's own lossy
// conversion (which truncates every number to an integer): a number is written in the shortest
// form that reads back as the same double ("2.9", "1e+300", "5"), NaN and infinities as null;
// strings as UTF-8 with JSON escapes; dictionaries in insertion order; all on one line. Strings
// are escaped by the JSON library. Functions never throw on content and hold no state;
// thread-safe.
#pragma once

#include "nexilo/cv_value.h"

#include <string>
#include <string_view>

namespace devkit::host {

std::string ValueToJsonText(const cv::Value& value);

// A JSON string of UTF-8 text.
std::string JsonString(std::string_view utf8);
// A JSON string of wide text; a null text gives null.
std::string JsonString(const wchar_t* text);

} // namespace devkit::host
