// The module's plain exports: the node control tool behind five of them, and GetInfo, which asks
// the cloud for the account's e-mail through a transient agent.
#include "nexilo/flat_exports.h"

#include "agent/nexilo_agent.h"
#include "diag/function_tracer.h"
#include "process/node_tool.h"

#include <type_traits>

namespace {

process::NodeToolClient Tool() {
    return process::NodeToolClient(process::OwnToolFolder());
}

// The reply fails only as a non-null, non-text error; an error text or a null error passes and is
// read as if it were the result.
bool ReplyFailed(const cv::Value& reply, bool isError) {
    const cv::Value::Type type = reply.GetType();
    return isError && type != cv::Value::Type::kNull && type != cv::Value::Type::kString;
}

} // namespace

NEXILO_EXPORT bool NEXILO_CALL GetNexiloInfo(cv::StringW& deviceId, cv::StringW& userToken) {
    std::wstring device;
    std::wstring token;
    if (!Tool().GetNexiloInfo(device, token)) {
        return false;
    }
    deviceId = device.c_str();
    userToken = token.c_str();
    return true;
}

NEXILO_EXPORT bool NEXILO_CALL SetStatus(const wchar_t* appId, int status) {
    return Tool().SetStatus(appId, status);
}

NEXILO_EXPORT bool NEXILO_CALL AddApp(const wchar_t* appId, const wchar_t* name, int status,
                                      const wchar_t* version) {
    return Tool().AddApp(appId, name, status, version);
}

NEXILO_EXPORT bool NEXILO_CALL RemoveApp(const wchar_t* appId) {
    return Tool().RemoveApp(appId);
}

NEXILO_EXPORT bool NEXILO_CALL GetAgentField(const wchar_t* key, const wchar_t* field,
                                             std::string& value) {
    return Tool().GetAgentField(key, field, value);
}

NEXILO_EXPORT bool NEXILO_CALL GetInfo(cv::StringW& email, const cv::StringW& appId) {
    NX_TRACE_SCOPE(L"GetInfo");
    NexiloAgent agent;
    // Without a session Ask reports the failure itself.
    agent.InitNxp();
    struct DropSession {
        NexiloAgent& agent;
        ~DropSession() { agent.DropCloudSession(); }
    } drop{agent};

    cv::StringW deviceId;
    cv::StringW userToken;
    if (!GetNexiloInfo(deviceId, userToken)) {
        return false;
    }
    cv::Value request;
    cv::Value& source = request[L"nexilo_source"];
    source[L"user_token"] = userToken;
    source[L"device_id"] = deviceId;
    source[L"app_id"] = appId;

    cv::Value reply;
    bool isError = false;
    const std::uint32_t code =
        agent.Ask(L"nexilo/user_info", L"getInfo", request, reply, &isError, cv::Value());
    if (code != 0) {
        NX_LOG_ERROR(L"GetInfo", L"error query nexilo/user_info [%d]",
                     static_cast<std::int32_t>(code));
        return false;
    }
    if (ReplyFailed(reply, isError)) {
        NX_LOG_ERROR(L"GetInfo", L"error query nexilo/user_info replied [%s]",
                     reply.ToString().GetString());
        return false;
    }
    email = reply.Get(L"email", cv::Value(L"")).AsString();
    NX_LOG_INFO(L"GetInfo", L"Email: %s", email.GetString());
    return true;
}

static_assert(std::is_same_v<decltype(&GetNexiloInfo), GetNexiloInfoFn>);
static_assert(std::is_same_v<decltype(&SetStatus), SetStatusFn>);
static_assert(std::is_same_v<decltype(&AddApp), AddAppFn>);
static_assert(std::is_same_v<decltype(&RemoveApp), RemoveAppFn>);
static_assert(std::is_same_v<decltype(&GetInfo), GetInfoFn>);
static_assert(std::is_same_v<decltype(&GetAgentField), GetAgentFieldFn>);
