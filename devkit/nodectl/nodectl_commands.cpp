#include "devkit/nodectl/nodectl_commands.h"

#include "devkit/nodectl/node_state.h"
#include "platform/build_config.h"
#include "platform/hex.h"

#include <map>
#include <optional>
#include <set>

namespace devkit::nodectl {

namespace {

// Windows programs print text with CR LF; the agent reads both forms.
#if defined(NEXILO_OS_WIN)
constexpr const char* kNewline = "\r\n";
#else
constexpr const char* kNewline = "\n";
#endif

struct Verb {
    std::set<std::string> required;
    std::set<std::string> optional;
};

const std::map<std::string, Verb>& Verbs() {
    static const std::map<std::string, Verb> verbs = {
        {"shd_get_user", {{}, {}}},
        {"shd_get_agent_field", {{"key", "field_name"}, {}}},
        {"shd_set_status", {{"app_id", "status"}, {}}},
        {"shd_add_app", {{"appid", "name", "status", "version"}, {}}},
        {"shd_rem_app", {{"appid"}, {}}},
    };
    return verbs;
}

Outcome Fail(int exitCode, std::string message) {
    Outcome outcome;
    outcome.exitCode = exitCode;
    outcome.error = "nodectl: " + std::move(message) + "\n";
    return outcome;
}

std::string Usage() {
    return "usage: nodectl <verb> [--option=value ...]\n"
           "  shd_get_user\n"
           "  shd_get_agent_field --key=K --field_name=F\n"
           "  shd_set_status --app_id=ID --status=enabled|disabled|pending\n"
           "  shd_add_app --appid=ID --name=N --status=enabled|disabled|pending --version=V\n"
           "  shd_rem_app --appid=ID";
}

bool IsStatusWord(const std::string& word) {
    return word == "enabled" || word == "disabled" || word == "pending";
}

std::optional<std::string> FromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size();) {
        if (hex[i] == ' ') {
            ++i;
            continue;
        }
        int high = platform::HexDigitValue(hex[i]);
        int low = i + 1 < hex.size() ? platform::HexDigitValue(hex[i + 1]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

// A scripted answer for the verb, if the state has one.
std::optional<Outcome> Scripted(NodeState& state, const std::string& verb) {
    json_t* entry = json_object_get(state.Section("scripted", false), verb.c_str());
    if (entry == nullptr) {
        return std::nullopt;
    }
    Outcome outcome;
    json_t* code = json_object_get(entry, "exit_code");
    json_t* output = json_object_get(entry, "output");
    json_t* hex = json_object_get(entry, "output_hex");
    if (!json_is_object(entry) || (code != nullptr && !json_is_integer(code)) ||
        (output != nullptr && !json_is_string(output)) ||
        (hex != nullptr && !json_is_string(hex))) {
        return Fail(kExitStateFile, "scripted answer for " + verb +
                                        " must be an object with an integer exit_code and "
                                        "string output or output_hex");
    }
    outcome.exitCode = code != nullptr ? static_cast<int>(json_integer_value(code)) : 0;
    if (output != nullptr) {
        outcome.output.assign(json_string_value(output), json_string_length(output));
    }
    if (hex != nullptr) {
        std::optional<std::string> bytes = FromHex(json_string_value(hex));
        if (!bytes) {
            return Fail(kExitStateFile, "scripted output_hex for " + verb + " is not hex");
        }
        outcome.output += *bytes;
    }
    return outcome;
}

const char* StringMember(json_t* object, const char* name) {
    json_t* member = json_object_get(object, name);
    return json_is_string(member) ? json_string_value(member) : nullptr;
}

Outcome Save(NodeState& state, const std::filesystem::path& stateFile) {
    std::string error;
    if (!state.Save(stateFile, error)) {
        return Fail(kExitStateFile, error);
    }
    return Outcome{};
}

} // namespace

Outcome RunNodectl(const std::vector<std::string>& args, const std::filesystem::path& stateFile) {
    if (args.empty()) {
        return Fail(kExitBadVerb, "no verb\n" + Usage());
    }
    const std::string& verbName = args[0];
    auto verb = Verbs().find(verbName);
    if (verb == Verbs().end()) {
        return Fail(kExitBadVerb, "unknown verb \"" + verbName + "\"\n" + Usage());
    }

    NodeState state;
    std::string error;
    if (!state.Load(stateFile, error)) {
        return Fail(kExitStateFile, error);
    }
    if (std::optional<Outcome> scripted = Scripted(state, verbName)) {
        return *scripted;
    }

    std::map<std::string, std::string> options;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        std::size_t equals = arg.find('=');
        if (arg.rfind("--", 0) != 0 || equals == std::string::npos || equals == 2) {
            return Fail(kExitBadOption, "expected --option=value, got \"" + arg + "\"");
        }
        std::string name = arg.substr(2, equals - 2);
        if (!verb->second.required.count(name) && !verb->second.optional.count(name)) {
            return Fail(kExitBadOption, verbName + " takes no option --" + name);
        }
        if (!options.emplace(name, arg.substr(equals + 1)).second) {
            return Fail(kExitBadOption, "option --" + name + " given twice");
        }
    }
    for (const std::string& name : verb->second.required) {
        if (!options.count(name)) {
            return Fail(kExitBadOption, verbName + " needs --" + name);
        }
    }
    for (const char* name : {"appid", "app_id", "key", "field_name"}) {
        if (options.count(name) && options[name].empty()) {
            return Fail(kExitBadOption, std::string("--") + name + " must not be empty");
        }
    }
    if (options.count("status") && !IsStatusWord(options["status"])) {
        return Fail(kExitBadOption,
                    "unknown status \"" + options["status"] + "\" (enabled, disabled or pending)");
    }

    if (verbName == "shd_get_user") {
        json_t* user = state.Section("user", false);
        const char* token = StringMember(user, "user_token");
        const char* device = StringMember(user, "device_id");
        if (token == nullptr || device == nullptr || *token == '\0' || *device == '\0') {
            return Fail(kExitMissingState, "no user is signed in");
        }
        Outcome outcome;
        outcome.output = std::string(token) + kNewline + device + kNewline;
        return outcome;
    }
    if (verbName == "shd_get_agent_field") {
        json_t* fields =
            json_object_get(state.Section("agent_fields", false), options["key"].c_str());
        const char* value = StringMember(fields, options["field_name"].c_str());
        if (value == nullptr) {
            return Fail(kExitMissingState,
                        "no agent field " + options["key"] + "/" + options["field_name"]);
        }
        Outcome outcome;
        outcome.output = std::string(value) + kNewline;
        return outcome;
    }

    json_t* apps = state.Section("apps", true);
    if (verbName == "shd_add_app") {
        json_t* app = json_pack("{s:s, s:s, s:s}", "name", options["name"].c_str(), "status",
                                options["status"].c_str(), "version", options["version"].c_str());
        if (app == nullptr) {
            return Fail(kExitBadOption, "options must be UTF-8 text");
        }
        json_object_set_new(apps, options["appid"].c_str(), app);
        return Save(state, stateFile);
    }
    const std::string& id = verbName == "shd_set_status" ? options["app_id"] : options["appid"];
    json_t* app = json_object_get(apps, id.c_str());
    if (!json_is_object(app)) {
        return Fail(kExitMissingState, "no application \"" + id + "\"");
    }
    if (verbName == "shd_set_status") {
        json_object_set_new(app, "status", json_string(options["status"].c_str()));
    } else {
        json_object_del(apps, id.c_str());
    }
    return Save(state, stateFile);
}

} // namespace devkit::nodectl
