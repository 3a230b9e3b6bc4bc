#include "devkit/host/product_info_plugin.h"

#include "devkit/common/devkit_home.h"
#include "devkit/host/host_paths.h"
#include "platform/error_codes.h"
#include "platform/utf8.h"

#include <jansson.h>

#include <limits>
#include <system_error>

namespace devkit::host {

namespace {

// A decimal index from 0 to the largest int32, digits only.
bool ParseIndex(const char* text, std::int32_t& index) {
    std::int64_t value = 0;
    if (*text == '\0') {
        return false;
    }
    for (const char* digit = text; *digit != '\0'; ++digit) {
        if (*digit < '0' || *digit > '9') {
            return false;
        }
        value = value * 10 + (*digit - '0');
        if (value > std::numeric_limits<std::int32_t>::max()) {
            return false;
        }
    }
    index = static_cast<std::int32_t>(value);
    return true;
}

} // namespace

bool ProductInfoPlugin::Load(const std::filesystem::path& file, std::string& error) {
    m_values.clear();
    const std::string name = "the product info file " + PathText(file);
    std::error_code failure;
    if (!std::filesystem::exists(file, failure)) {
        if (failure) {
            error = "cannot look for " + name + ": " + failure.message();
            return false;
        }
        return true;
    }
    std::string text;
    if (!ReadWholeFile(file, text)) {
        error = "cannot read " + name;
        return false;
    }
    json_error_t parseError;
    json_t* root = json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &parseError);
    if (root == nullptr) {
        error = name + " is no valid JSON: line " + std::to_string(parseError.line) + ", column " +
                std::to_string(parseError.column) + ": " + parseError.text;
        return false;
    }
    std::map<std::pair<std::wstring, std::int32_t>, std::wstring> values;
    bool good = json_is_object(root);
    if (!good) {
        error = name + " must hold a JSON object of sections";
    }
    const char* section;
    json_t* entries;
    json_object_foreach(root, section, entries) {
        if (!good) {
            break;
        }
        if (!json_is_object(entries)) {
            error = name + ": section \"" + section + "\" must be an object from index to text";
            good = false;
            break;
        }
        const char* indexText;
        json_t* value;
        json_object_foreach(entries, indexText, value) {
            std::int32_t index = 0;
            if (!ParseIndex(indexText, index)) {
                error = name + ": section \"" + section + "\": \"" + indexText +
                        "\" is no index (a decimal number from 0 to 2147483647)";
                good = false;
                break;
            }
            if (!json_is_string(value)) {
                error = name + ": section \"" + section + "\", index " + indexText +
                        ": the value must be a string";
                good = false;
                break;
            }
            values[{platform::Utf8ToWide(section), index}] =
                platform::Utf8ToWide(json_string_value(value));
        }
    }
    json_decref(root);
    if (good) {
        m_values = std::move(values);
    }
    return good;
}

void* ProductInfoPlugin::QueryInterface(CvIid iid) {
    if (iid == kIidCvBaseInterface || iid == kIidProductInfo) {
        return static_cast<IProductInfo*>(this);
    }
    return nullptr;
}

std::uint32_t ProductInfoPlugin::ReservedSlot1() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t ProductInfoPlugin::ReservedSlot2() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t ProductInfoPlugin::ReservedSlot3() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t ProductInfoPlugin::ReservedSlot4() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t ProductInfoPlugin::ReservedSlot5() {
    return platform::kErrorCallNotImplemented;
}

const wchar_t* ProductInfoPlugin::GetProductValue(std::int32_t index, const wchar_t* section) {
    if (section == nullptr || index < 0) {
        return nullptr;
    }
    auto found = m_values.find({section, index});
    return found == m_values.end() ? nullptr : found->second.c_str();
}

} // namespace devkit::host
