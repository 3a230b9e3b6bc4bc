#include "devkit/cvzc/push_folder.h"

#include "devkit/common/devkit_home.h"

#include <jansson.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>

namespace devkit::cvzc {

namespace {

struct JsonDeleter {
    void operator()(json_t* json) const { json_decref(json); }
};
using JsonPtr = std::unique_ptr<json_t, JsonDeleter>;

constexpr const char* kMessageSuffix = ".json";

ParsedPush Refused(std::string error) {
    return {std::nullopt, std::move(error)};
}

} // namespace

ParsedPush ParsePushFile(const std::string& text) {
    json_error_t error;
    JsonPtr root(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, &error));
    if (!root) {
        return Refused("line " + std::to_string(error.line) + ", column " +
                       std::to_string(error.column) + ": " + error.text);
    }
    if (!json_is_object(root.get())) {
        return Refused("a message file is a JSON object");
    }
    PushMessage message;
    json_t* type = json_object_get(root.get(), "type");
    if (!json_is_string(type)) {
        return Refused("\"type\" must be a string");
    }
    message.type.assign(json_string_value(type), json_string_length(type));

    if (json_t* target = json_object_get(root.get(), "target")) {
        if (!json_is_object(target)) {
            return Refused("\"target\" must be an object");
        }
        for (auto [key, out] :
             {std::pair{"app_id", &message.appId}, std::pair{"device_id", &message.deviceId}}) {
            json_t* member = json_object_get(target, key);
            if (member == nullptr) {
                continue;
            }
            if (!json_is_string(member)) {
                return Refused(std::string("\"target.") + key + "\" must be a string");
            }
            out->assign(json_string_value(member), json_string_length(member));
        }
    }

    json_t* body = json_object_get(root.get(), "message");
    json_t* raw = json_object_get(root.get(), "text");
    if ((body == nullptr) == (raw == nullptr)) {
        return Refused("give exactly one of \"message\" and \"text\"");
    }
    if (raw != nullptr) {
        if (!json_is_string(raw)) {
            return Refused("\"text\" must be a string");
        }
        message.bytes.assign(json_string_value(raw), json_string_length(raw));
    } else {
        char* dumped = json_dumps(body, JSON_COMPACT | JSON_ENCODE_ANY);
        if (dumped == nullptr) {
            return Refused("\"message\" cannot be printed");
        }
        message.bytes = dumped;
        free(dumped);
    }
    return {std::move(message), {}};
}

bool PushMatches(const PushMessage& message, const std::string& type, const std::string& appId,
                 const std::string& deviceId) {
    return message.type == type && message.appId == appId && message.deviceId == deviceId;
}

std::filesystem::path PushFolder() {
    return DevkitHome() / "push";
}

std::vector<std::string> ListPushFiles(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (it->is_regular_file(error) && name.size() > std::strlen(kMessageSuffix) &&
            name.ends_with(kMessageSuffix)) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::filesystem::path> DropPushFile(const std::filesystem::path& folder,
                                                  const std::string& text, std::string& error) {
    static std::atomic<unsigned> counter{0};
    std::error_code code;
    std::filesystem::create_directories(folder, code);
    // Wall-clock nanoseconds, fixed width, so that names sort in the order of dropping; a
    // per-process random tag and a counter keep two writers apart.
    static const unsigned tag = std::random_device{}();
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    char stem[64];
    std::snprintf(stem, sizeof stem, "%020lld-%08x-%04u", static_cast<long long>(now), tag,
                  counter++ % 10000);
    const auto partial = folder / (std::string(stem) + ".partial");
    const auto final = folder / (std::string(stem) + kMessageSuffix);
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            error = "cannot write " + partial.string();
            std::filesystem::remove(partial, code);
            return std::nullopt;
        }
    }
    std::filesystem::rename(partial, final, code);
    if (code) {
        error = "cannot rename " + partial.string() + ": " + code.message();
        std::filesystem::remove(partial, code);
        return std::nullopt;
    }
    return final;
}

} // namespace devkit::cvzc
