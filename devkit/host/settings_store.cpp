#include "devkit/host/settings_store.h"

#include "devkit/common/devkit_home.h"
#include "devkit/common/error_message.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/json_text.h"
#include "platform/file_util.h"
#include "platform/utf8.h"

#include <jansson.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <system_error>
#include <utility>

namespace devkit::host {

namespace {

struct JsonDecref {
    void operator()(json_t* json) const noexcept { json_decref(json); }
};
using JsonPtr = std::unique_ptr<json_t, JsonDecref>;

constexpr const char* kTypeString = "string";
constexpr const char* kTypeInt32 = "int32";
constexpr const char* kTypeInt64 = "int64";
constexpr const char* kTypeBool = "bool";

std::wstring Wide(const char* utf8) {
    return platform::Utf8ToWide(utf8);
}

std::string Narrow(const std::wstring& wide) {
    return platform::WideToUtf8(wide);
}

// The value of one entry, or an error text for it.
std::optional<SettingValue> ParseEntry(json_t* entry, std::string& problem) {
    if (!json_is_object(entry) || json_object_size(entry) != 1) {
        problem = "must be an object with one member: \"string\", \"int32\", \"int64\" or \"bool\"";
        return std::nullopt;
    }
    const char* type = json_object_iter_key(json_object_iter(entry));
    json_t* value = json_object_iter_value(json_object_iter(entry));
    std::string name = type;
    if (name == kTypeString) {
        if (json_is_string(value)) {
            return SettingValue(Wide(json_string_value(value)));
        }
        problem = "a \"string\" value must be a JSON string";
    } else if (name == kTypeInt32) {
        if (json_is_integer(value) &&
            json_integer_value(value) >= std::numeric_limits<std::int32_t>::min() &&
            json_integer_value(value) <= std::numeric_limits<std::int32_t>::max()) {
            return SettingValue(static_cast<std::int32_t>(json_integer_value(value)));
        }
        problem = "an \"int32\" value must be a whole number from -2147483648 to 2147483647";
    } else if (name == kTypeInt64) {
        if (json_is_integer(value)) {
            return SettingValue(static_cast<std::int64_t>(json_integer_value(value)));
        }
        problem = "an \"int64\" value must be a whole number in the 64-bit range";
    } else if (name == kTypeBool) {
        if (json_is_boolean(value)) {
            return SettingValue(json_is_true(value));
        }
        problem = "a \"bool\" value must be true or false";
    } else {
        problem = "has the unknown type \"" + name + "\" (string, int32, int64 or bool)";
    }
    return std::nullopt;
}

json_t* EntryJson(const SettingValue& value) {
    json_t* entry = json_object();
    if (const auto* text = std::get_if<std::wstring>(&value)) {
        std::string utf8 = Narrow(*text);
        json_object_set_new(entry, kTypeString, json_stringn_nocheck(utf8.data(), utf8.size()));
    } else if (const auto* int32 = std::get_if<std::int32_t>(&value)) {
        json_object_set_new(entry, kTypeInt32, json_integer(*int32));
    } else if (const auto* int64 = std::get_if<std::int64_t>(&value)) {
        json_object_set_new(entry, kTypeInt64, json_integer(*int64));
    } else {
        json_object_set_new(entry, kTypeBool, json_boolean(std::get<bool>(value)));
    }
    return entry;
}

} // namespace

bool SettingsStore::Open(const std::filesystem::path& file, std::string& error) {
    std::lock_guard lock(m_mutex);
    m_open = false;
    m_nodes.clear();
    m_file = file;
    const std::string name = "the settings file " + PathText(file);

    std::error_code failure;
    if (!std::filesystem::exists(file, failure)) {
        if (failure) {
            error = "cannot look for " + name + ": " + failure.message();
            return false;
        }
        m_open = true;
        return true;
    }
    std::string text;
    if (!ReadWholeFile(file, text)) {
        error = "cannot read " + name;
        return false;
    }
    json_error_t parseError;
    JsonPtr root(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &parseError));
    if (!root) {
        error = name + " is no valid JSON: line " + std::to_string(parseError.line) + ", column " +
                std::to_string(parseError.column) + ": " + parseError.text;
        return false;
    }
    if (!json_is_object(root.get())) {
        error = name + " must hold a JSON object of nodes";
        return false;
    }
    Nodes nodes;
    const char* path;
    json_t* members;
    json_object_foreach(root.get(), path, members) {
        std::wstring nodePath = Wide(path);
        if (!IsNodePath(nodePath)) {
            error = name + ": \"" + path + "\" is no node path (it must start with '/')";
            return false;
        }
        if (!json_is_object(members)) {
            error = name + ": node \"" + path + "\" must be a JSON object of keys";
            return false;
        }
        Node& node = nodes[nodePath];
        const char* key;
        json_t* entry;
        json_object_foreach(members, key, entry) {
            std::string problem;
            std::optional<SettingValue> value = ParseEntry(entry, problem);
            if (!value) {
                error = name + ": node \"" + path + "\", key \"" + key + "\": " + problem;
                return false;
            }
            node.emplace(Wide(key), std::move(*value));
        }
    }
    m_nodes = std::move(nodes);
    m_open = true;
    return true;
}

bool SettingsStore::IsOpen() const {
    std::lock_guard lock(m_mutex);
    return m_open;
}

std::filesystem::path SettingsStore::File() const {
    std::lock_guard lock(m_mutex);
    return m_file;
}

bool SettingsStore::IsNodePath(const std::wstring& path) {
    return !path.empty() && path.front() == L'/';
}

bool SettingsStore::EnsureNode(const std::wstring& path) {
    std::lock_guard lock(m_mutex);
    if (!m_open || !IsNodePath(path)) {
        return false;
    }
    m_nodes[path];
    return true;
}

std::optional<SettingValue> SettingsStore::Get(const std::wstring& path,
                                               const std::wstring& key) const {
    std::lock_guard lock(m_mutex);
    auto node = m_nodes.find(path);
    if (node == m_nodes.end()) {
        return std::nullopt;
    }
    auto entry = node->second.find(key);
    if (entry == node->second.end()) {
        return std::nullopt;
    }
    return entry->second;
}

bool SettingsStore::Set(const std::wstring& path, const std::wstring& key, SettingValue value,
                        std::string& error) {
    std::lock_guard lock(m_mutex);
    if (!m_open) {
        error = "the settings store is not open";
        return false;
    }
    if (!IsNodePath(path)) {
        error = "\"" + Narrow(path) + "\" is no node path";
        return false;
    }
    Nodes changed = m_nodes;
    changed[path][key] = std::move(value);
    if (!Save(changed, error)) {
        return false;
    }
    m_nodes = std::move(changed);
    return true;
}

bool SettingsStore::Save(const Nodes& nodes, std::string& error) const {
    // One key a line, each entry compact: easy to read and to edit by hand.
    std::string text = "{";
    const char* nodeSeparator = "\n";
    for (const auto& [path, node] : nodes) {
        text += nodeSeparator + std::string("  ") + JsonString(Narrow(path)) + ": {";
        const char* keySeparator = "\n";
        for (const auto& [key, value] : node) {
            JsonPtr entry(EntryJson(value));
            char* dumped = json_dumps(entry.get(), 0);
            if (dumped == nullptr) {
                error = "cannot form the settings text";
                return false;
            }
            text += keySeparator + std::string("    ") + JsonString(Narrow(key)) + ": " + dumped;
            std::free(dumped);
            keySeparator = ",\n";
        }
        text += node.empty() ? "}" : "\n  }";
        nodeSeparator = ",\n";
    }
    text += nodes.empty() ? "}\n" : "\n}\n";

    std::error_code failure;
    std::filesystem::create_directories(m_file.parent_path(), failure);
    std::filesystem::path temporary = m_file;
    temporary += ".tmp";
    const std::wstring temporaryWide = WidePath(temporary);
    {
        platform::OpenFileResult opened =
            platform::OpenTextFile(temporaryWide.c_str(), platform::TextFileMode::kWrite);
        if (!opened.file) {
            error =
                "cannot write " + PathText(temporary) + ": " + devkit::DescribeError(opened.error);
            return false;
        }
        bool written = std::fwrite(text.data(), 1, text.size(), opened.file.get()) == text.size();
        platform::ErrorCode flushed = platform::FlushToDisk(opened.file.get());
        if (!written || flushed != platform::kErrorSuccess) {
            error = "cannot write " + PathText(temporary) + ": " +
                    devkit::DescribeError(written ? flushed : platform::kErrorGenFailure);
            return false;
        }
    }
    platform::ErrorCode replaced =
        platform::ReplaceFileAtomically(temporaryWide.c_str(), WidePath(m_file).c_str());
    if (replaced != platform::kErrorSuccess) {
        std::filesystem::remove(temporary, failure);
        error = "cannot replace " + PathText(m_file) + ": " + devkit::DescribeError(replaced);
        return false;
    }
    return true;
}

} // namespace devkit::host
