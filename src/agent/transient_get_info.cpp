#include "agent/transient_get_info.h"

#include "agent/nexilo_agent.h"
#include "diag/function_tracer.h"
#include "process/node_tool.h"

namespace {

// The reply fails only as a non-null, non-text error; an error text or a null error passes and is
// read as if it were the result.
bool ReplyFailed(const cv::Value& reply, bool isError) {
    const cv::Value::Type type = reply.GetType();
    return isError && type != cv::Value::Type::kNull && type != cv::Value::Type::kString;
}

} // namespace

bool TransientGetInfo(const AgentEnvironment& environment, cv::StringW& email,
                      const cv::StringW& appId) {
    const logging::FunctionLog log(L"GetInfo", environment.log);
    NX_TRACE_SCOPE(log);
    NexiloAgent agent(environment);
    // Without a session Ask reports the failure itself.
    agent.InitNxp();
    struct EndSession {
        NexiloAgent& agent;
        ~EndSession() { agent.ReleaseCloudSession(); }
    } end{agent};

    std::wstring deviceId;
    std::wstring userToken;
    if (!process::NodeToolClient(environment.toolFolder, environment.launcher, environment.log)
             .GetNexiloInfo(deviceId, userToken)) {
        return false;
    }
    cv::Value request;
    cv::Value& source = request[L"nexilo_source"];
    source[L"user_token"] = userToken.c_str();
    source[L"device_id"] = deviceId.c_str();
    source[L"app_id"] = appId;

    cv::Value reply;
    bool isError = false;
    const std::uint32_t code =
        agent.Ask(L"nexilo/user_info", L"getInfo", request, reply, &isError, cv::Value());
    if (code != 0) {
        NX_LOG_ERROR(log, L"error query nexilo/user_info [%d]", static_cast<std::int32_t>(code));
        return false;
    }
    if (ReplyFailed(reply, isError)) {
        NX_LOG_ERROR(log, L"error query nexilo/user_info replied [%s]",
                     reply.ToString().GetString());
        return false;
    }
    email = reply.Get(L"email", cv::Value(L"")).AsString();
    NX_LOG_INFO(log, L"Email: %s", email.GetString());
    return true;
}
