#include "devkit/host/commands.h"

#include "devkit/host/export_commands.h"
#include "devkit/host/json_text.h"
#include "devkit/host/push_commands.h"
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

std::string CheckWaitEvent(const std::vector<std::string>& operands) {
    if (operands[0].empty()) {
        return "wait-event: NAME must not be empty";
    }
    long seconds = 0;
    if (!ParseSeconds(operands[1], seconds)) {
        return "wait-event: SECONDS must be a whole number from 0 to " +
               std::to_string(kMaxWaitSeconds);
    }
    return {};
}

bool RunWaitEvent(CommandContext& context, const std::vector<std::string>& operands) {
    long seconds = 0;
    if (!ParseSeconds(operands[1], seconds)) {
        context.console.Error(CheckWaitEvent(operands));
        return false;
    }
    const bool arrived =
        context.events.AwaitEvent(platform::Utf8ToWide(operands[0]), std::chrono::seconds(seconds));
    context.console.Line("{\"command\":\"wait-event\",\"name\":" + JsonString(operands[0]) +
                         ",\"ok\":" + (arrived ? "true" : "false") + "}");
    if (!arrived) {
        context.console.Error("wait-event: no " + operands[0] + " within " +
                              std::to_string(seconds) + " seconds");
    }
    return arrived;
}

std::string CheckJsonOperand(const char* command, const std::string& text) {
    cv::Json json;
    std::string problem;
    if (!ParseJson(text, json, problem)) {
        return std::string(command) + ": JSON is not valid JSON (" + problem + ")";
    }
    return {};
}

// The operand as a value, through the system's own conversion.
bool ValueOperand(CommandContext& context, const char* command, const std::string& text,
                  cv::Value& value) {
    cv::Json json;
    std::string problem;
    if (!ParseJson(text, json, problem)) {
        context.console.Error(CheckJsonOperand(command, text));
        return false;
    }
    value = cv::ValueFromJson(json);
    return true;
}

// One result line of an agent operation; a code other than 0 fails the command.
bool Report(CommandContext& context, const char* command, std::uint32_t code,
            const std::string& fields = {}) {
    context.console.Line("{\"command\":\"" + std::string(command) + "\"" + fields +
                         ",\"code\":" + CodeText(code) + "}");
    if (code != 0) {
        context.console.Error(std::string(command) + " failed with " + CodeText(code));
        return false;
    }
    return true;
}

std::string CheckSendCommand(const std::vector<std::string>& operands) {
    return CheckJsonOperand("send-command", operands[0]);
}

bool RunSendCommand(CommandContext& context, const std::vector<std::string>& operands) {
    cv::Value request;
    if (!ValueOperand(context, "send-command", operands[0], request)) {
        return false;
    }
    return Report(context, "send-command", context.agent->SendCommand(request, 0));
}

bool RunCampaign(CommandContext& context, const std::vector<std::string>&) {
    cv::Value campaign;
    const std::uint32_t code = context.agent->GetCurrentCampaign(&campaign);
    return Report(context, "campaign", code, ",\"campaign\":" + ValueToJsonText(campaign));
}

std::string CheckCampaignSet(const std::vector<std::string>& operands) {
    return CheckJsonOperand("campaign-set", operands[0]);
}

bool RunCampaignSet(CommandContext& context, const std::vector<std::string>& operands) {
    cv::Value campaign;
    if (!ValueOperand(context, "campaign-set", operands[0], campaign)) {
        return false;
    }
    return Report(context, "campaign-set",
                  context.agent->UpdateCurrentCampaign(cv::Pass(std::move(campaign))));
}

bool RunIpmState(CommandContext& context, const std::vector<std::string>&) {
    bool state = false;
    const std::uint32_t code = context.agent->GetIpmState(&state);
    return Report(context, "ipm-state", code,
                  std::string(",\"state\":") + (state ? "true" : "false"));
}

std::string CheckIpmStateSet(const std::vector<std::string>& operands) {
    if (operands[0] != "true" && operands[0] != "false") {
        return "ipm-state-set: the operand must be true or false";
    }
    return {};
}

bool RunIpmStateSet(CommandContext& context, const std::vector<std::string>& operands) {
    const bool state = operands[0] == "true";
    return Report(context, "ipm-state-set", context.agent->SetIpmState(state),
                  std::string(",\"state\":") + (state ? "true" : "false"));
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
        {"wait-event",
         {"NAME", "SECONDS"},
         "keeps the agent running until it has fired NAME (at most SECONDS); fails without it",
         CheckWaitEvent,
         RunWaitEvent,
         nullptr},
        {"send-command",
         {"JSON"},
         "SendCommand with the JSON text as the request",
         CheckSendCommand,
         RunSendCommand,
         nullptr},
        {"campaign",
         {},
         "GetCurrentCampaign: the current campaign",
         CheckNothing,
         RunCampaign,
         nullptr},
        {"campaign-set",
         {"JSON"},
         "UpdateCurrentCampaign with the JSON text as the campaign",
         CheckCampaignSet,
         RunCampaignSet,
         nullptr},
        {"ipm-state", {}, "GetIpmState: the messaging flag", CheckNothing, RunIpmState, nullptr},
        {"ipm-state-set",
         {"true|false"},
         "SetIpmState: stores the messaging flag",
         CheckIpmStateSet,
         RunIpmStateSet,
         nullptr},
        {"push-test",
         {"TYPE", "APP_ID", "DEVICE_ID"},
         "a push client of the host registers TYPE (event, notification, command); prints "
         "what arrives",
         CheckPushTest,
         RunPushTest,
         nullptr},
        {"push-send",
         {"FILE"},
         "drops the message file FILE into the dev kit's push folder",
         CheckPushSend,
         RunPushSend,
         nullptr},
        {"push-wait",
         {"COUNT", "SECONDS"},
         "waits until the push-test clients have received COUNT messages in all",
         CheckPushWait,
         RunPushWait,
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
