#include "devkit/host/export_commands.h"

#include "devkit/host/json_text.h"
#include "nexilo/cv_value.h"
#include "nexilo/flat_exports.h"
#include "platform/utf8.h"

#include <charconv>
#include <system_error>

namespace devkit::host {

namespace {

template <class Fn>
Fn FindFlatExport(platform::ModuleHandle module, const char* name) {
    return reinterpret_cast<Fn>(platform::FindExport(module, name).address);
}

// The export, or null after saying so (the host checks for it before it starts the agent, so
// this is only a second line of defence).
template <class Fn>
Fn Export(CommandContext& context, const char* command, const char* name) {
    Fn function = FindFlatExport<Fn>(context.module, name);
    if (function == nullptr) {
        context.console.Error(std::string(command) + ": the module has no export " + name);
    }
    return function;
}

std::string Text(const cv::StringW& text) {
    return JsonString(platform::WideToUtf8(std::wstring_view(text.GetString(), text.GetLength())));
}

const char* Flag(bool value) {
    return value ? "true" : "false";
}

// Says why the command failed when the export returned false, and passes the result on.
bool Outcome(CommandContext& context, const char* command, const char* exportName, bool ok) {
    if (!ok) {
        context.console.Error(std::string(command) + ": " + exportName +
                              " returned false (the module's log tells why)");
    }
    return ok;
}

bool ParseStatus(const std::string& text, int& status) {
    const char* end = text.data() + text.size();
    auto parsed = std::from_chars(text.data(), end, status);
    return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

std::string CheckStatusOperand(const char* command, const std::string& text) {
    int status = 0;
    if (!ParseStatus(text, status)) {
        return std::string(command) +
               ": the status must be a whole number (0 enabled, 1 disabled, 2 pending), not \"" +
               text + "\"";
    }
    return {};
}

} // namespace

std::string CheckNothing(const std::vector<std::string>&) {
    return {};
}

std::string CheckStatus(const std::vector<std::string>& operands) {
    return CheckStatusOperand("status", operands[1]);
}

std::string CheckAddApp(const std::vector<std::string>& operands) {
    return CheckStatusOperand("add-app", operands[2]);
}

bool RunUser(CommandContext& context, const std::vector<std::string>&) {
    auto getNexiloInfo = Export<GetNexiloInfoFn>(context, "user", "GetNexiloInfo");
    if (getNexiloInfo == nullptr) {
        return false;
    }
    cv::StringW deviceId;
    cv::StringW userToken;
    const bool ok = getNexiloInfo(deviceId, userToken);
    std::string line = std::string("{\"command\":\"user\",\"ok\":") + Flag(ok);
    if (ok) {
        line += ",\"user_token\":" + Text(userToken) + ",\"device_id\":" + Text(deviceId);
    }
    context.console.Line(line + "}");
    return Outcome(context, "user", "GetNexiloInfo", ok);
}

bool RunInfo(CommandContext& context, const std::vector<std::string>& operands) {
    auto getInfo = Export<GetInfoFn>(context, "info", "GetInfo");
    if (getInfo == nullptr) {
        return false;
    }
    const std::string head = "{\"command\":\"info\",\"app_id\":" + JsonString(operands[0]);
    const cv::StringW appId(platform::Utf8ToWide(operands[0]).c_str());
    cv::StringW email;
    bool ok = false;
    try {
        ok = getInfo(email, appId);
    } catch (const cv::ValueException& exception) {
        // The export has no handler of its own for a reply it can't read.
        context.console.Line(head + ",\"ok\":false,\"exception\":" + JsonString(exception.what()) +
                             "}");
        context.console.Error(std::string("info: GetInfo let out a cv::ValueException: ") +
                              exception.what());
        return false;
    }
    std::string line = head + ",\"ok\":" + Flag(ok);
    if (ok) {
        line += ",\"email\":" + Text(email);
    }
    context.console.Line(line + "}");
    return Outcome(context, "info", "GetInfo", ok);
}

bool RunField(CommandContext& context, const std::vector<std::string>& operands) {
    auto getAgentField = Export<GetAgentFieldFn>(context, "field", "GetAgentField");
    if (getAgentField == nullptr) {
        return false;
    }
    const std::wstring key = platform::Utf8ToWide(operands[0]);
    const std::wstring name = platform::Utf8ToWide(operands[1]);
    std::string value;
    const bool ok = getAgentField(key.c_str(), name.c_str(), value);
    std::string line = "{\"command\":\"field\",\"key\":" + JsonString(operands[0]) +
                       ",\"name\":" + JsonString(operands[1]) + ",\"ok\":" + Flag(ok);
    if (ok) {
        line += ",\"value\":" + JsonString(value);
    }
    context.console.Line(line + "}");
    return Outcome(context, "field", "GetAgentField", ok);
}

bool RunStatus(CommandContext& context, const std::vector<std::string>& operands) {
    int status = 0;
    if (!ParseStatus(operands[1], status)) {
        context.console.Error(CheckStatus(operands));
        return false;
    }
    auto setStatus = Export<SetStatusFn>(context, "status", "SetStatus");
    if (setStatus == nullptr) {
        return false;
    }
    const std::wstring appId = platform::Utf8ToWide(operands[0]);
    const bool ok = setStatus(appId.c_str(), status);
    context.console.Line("{\"command\":\"status\",\"app_id\":" + JsonString(operands[0]) +
                         ",\"status\":" + std::to_string(status) + ",\"ok\":" + Flag(ok) + "}");
    return Outcome(context, "status", "SetStatus", ok);
}

bool RunAddApp(CommandContext& context, const std::vector<std::string>& operands) {
    int status = 0;
    if (!ParseStatus(operands[2], status)) {
        context.console.Error(CheckAddApp(operands));
        return false;
    }
    auto addApp = Export<AddAppFn>(context, "add-app", "AddApp");
    if (addApp == nullptr) {
        return false;
    }
    const std::wstring appId = platform::Utf8ToWide(operands[0]);
    const std::wstring name = platform::Utf8ToWide(operands[1]);
    const std::wstring version = platform::Utf8ToWide(operands[3]);
    const bool ok = addApp(appId.c_str(), name.c_str(), status, version.c_str());
    context.console.Line("{\"command\":\"add-app\",\"app_id\":" + JsonString(operands[0]) +
                         ",\"name\":" + JsonString(operands[1]) +
                         ",\"status\":" + std::to_string(status) +
                         ",\"version\":" + JsonString(operands[3]) + ",\"ok\":" + Flag(ok) + "}");
    return Outcome(context, "add-app", "AddApp", ok);
}

bool RunRemoveApp(CommandContext& context, const std::vector<std::string>& operands) {
    auto removeApp = Export<RemoveAppFn>(context, "remove-app", "RemoveApp");
    if (removeApp == nullptr) {
        return false;
    }
    const std::wstring appId = platform::Utf8ToWide(operands[0]);
    const bool ok = removeApp(appId.c_str());
    context.console.Line("{\"command\":\"remove-app\",\"app_id\":" + JsonString(operands[0]) +
                         ",\"ok\":" + Flag(ok) + "}");
    return Outcome(context, "remove-app", "RemoveApp", ok);
}

void ShowIdentity(Console& console, platform::ModuleHandle module) {
    auto getNexiloInfo = FindFlatExport<GetNexiloInfoFn>(module, "GetNexiloInfo");
    if (getNexiloInfo == nullptr) {
        console.Warning("the module has no export GetNexiloInfo: the identity is not shown");
        return;
    }
    cv::StringW deviceId;
    cv::StringW userToken;
    if (!getNexiloInfo(deviceId, userToken)) {
        console.Line(R"({"step":"identity","found":false})");
        return;
    }
    console.Line("{\"step\":\"identity\",\"user_token\":" + Text(userToken) +
                 ",\"device_id\":" + Text(deviceId) + "}");
}

} // namespace devkit::host
