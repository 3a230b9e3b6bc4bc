#include "devkit/host/commands.h"

#include "devkit/host/export_commands.h"
#include "devkit/host/json_text.h"
#include "foundation/json.h"
#include "foundation/value_json.h"
#include "platform/utf8.h"

#include <chrono>
#include <cstdint>
#include <thread>

namespace devkit::host {

namespace {

constexpr long kMaxWaitSeconds = 86400;

std::string CodeText(std::uint32_t code) {
    // Failures of the interface are often -1 (0xFFFFFFFF): show them as the code calls them.
    return std::to_string(static_cast<std::int32_t>(code));
}

bool ParseJson(const std::string& text, cv::Json& json, std::string& problem) {
    cv::JsonError error;
    if (json.Parse(text.c_str(), &error, cv::kJsonDecodeAny)) {
        return true;
    }
    problem = "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
              ": " + error.text;
    return false;
}

std::string CheckAsk(const std::vector<std::string>& operands) {
    if (operands[0].empty()) {
        return "ask: SERVICE must not be empty";
    }
    if (operands[1].empty()) {
        return "ask: METHOD must not be empty";
    }
    cv::Json json;
    std::string problem;
    if (!ParseJson(operands[2], json, problem)) {
        return "ask: JSON is not valid JSON (" + problem + ")";
    }
    return {};
}

bool RunAsk(CommandContext& context, const std::vector<std::string>& operands) {
    cv::Json json;
    std::string problem;
    if (!ParseJson(operands[2], json, problem)) {
        context.console.Error("ask: JSON is not valid JSON (" + problem + ")");
        return false;
    }
    const std::wstring service = platform::Utf8ToWide(operands[0]);
    const std::wstring method = platform::Utf8ToWide(operands[1]);
    const cv::Value params = cv::ValueFromJson(json);
    const cv::Value destination;
    cv::Value result;
    bool isError = false;
    const std::uint32_t code =
        context.agent->Ask(service.c_str(), method.c_str(), params, result, &isError, destination);
    context.console.Line("{\"command\":\"ask\",\"service\":" + JsonString(operands[0]) +
                         ",\"method\":" + JsonString(operands[1]) + ",\"code\":" + CodeText(code) +
                         ",\"isError\":" + (isError ? "true" : "false") +
                         ",\"reply\":" + ValueToJsonText(result) + "}");
    if (code != 0) {
        context.console.Error("ask " + operands[0] + " " + operands[1] + " failed with " +
                              CodeText(code));
        return false;
    }
    return true;
}

// Whole seconds from 0 to kMaxWaitSeconds, digits only.
bool ParseSeconds(const std::string& text, long& seconds) {
    if (text.empty() || text.size() > 5) {
        return false;
    }
    seconds = 0;
    for (char digit : text) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        seconds = seconds * 10 + (digit - '0');
    }
    return seconds <= kMaxWaitSeconds;
}

std::string CheckWait(const std::vector<std::string>& operands) {
    long seconds = 0;
    if (!ParseSeconds(operands[0], seconds)) {
        return "wait: SECONDS must be a whole number from 0 to " + std::to_string(kMaxWaitSeconds);
    }
    return {};
}

bool RunWait(CommandContext& context, const std::vector<std::string>& operands) {
    long seconds = 0;
    if (!ParseSeconds(operands[0], seconds)) {
        context.console.Error(CheckWait(operands));
        return false;
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    context.console.Line("{\"command\":\"wait\",\"seconds\":" + std::to_string(seconds) + "}");
    return true;
}

} // namespace

const std::vector<CommandSpec>& CommandTable() {
    static const std::vector<CommandSpec> table = {
        {"ask",
         {"SERVICE", "METHOD", "JSON"},
         "calls Ask with the JSON text as params; prints code, isError and the reply",
         CheckAsk,
         RunAsk,
         nullptr},
        {"wait",
         {"SECONDS"},
         "keeps the agent running for a while; its events are printed meanwhile",
         CheckWait,
         RunWait,
         nullptr},
        {"user",
         {},
         "GetNexiloInfo: the signed-in user's token and device id",
         CheckNothing,
         RunUser,
         "GetNexiloInfo"},
        {"info",
         {"APPID"},
         "GetInfo: the account's e-mail, asked of the cloud",
         CheckNothing,
         RunInfo,
         "GetInfo"},
        {"field",
         {"KEY", "NAME"},
         "GetAgentField: field NAME of the agent section KEY",
         CheckNothing,
         RunField,
         "GetAgentField"},
        {"status",
         {"APP", "N"},
         "SetStatus: N is 0 enabled, 1 disabled, 2 pending",
         CheckStatus,
         RunStatus,
         "SetStatus"},
        {"add-app",
         {"APP", "NAME", "STATUS", "VERSION"},
         "AddApp: registers APP with the node service",
         CheckAddApp,
         RunAddApp,
         "AddApp"},
        {"remove-app",
         {"APP"},
         "RemoveApp: removes APP from the node service",
         CheckNothing,
         RunRemoveApp,
         "RemoveApp"},
    };
    return table;
}

const CommandSpec* FindCommand(std::string_view name) {
    for (const CommandSpec& command : CommandTable()) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

std::string CommandUsage(const CommandSpec& command) {
    std::string usage = command.name;
    for (const char* operand : command.operands) {
        usage += ' ';
        usage += operand;
    }
    return usage;
}

} // namespace devkit::host
