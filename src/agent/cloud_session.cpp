// The agent's cloud session: InitNxp builds it from the identity, Ask is the one door to it.
#include "agent/nexilo_agent.h"

#include "diag/function_tracer.h"
#include "foundation/value_json.h"
#include "platform/error_codes.h"

cv::Json NexiloAgent::_IdentitySource() const {
    cv::StringA userToken;
    cv::StringA appId;
    cv::StringA deviceId;
    m_userToken.ToUtf8(userToken);
    m_appId.ToUtf8(appId);
    m_deviceId.ToUtf8(deviceId);
    cv::Json source;
    source.Pack("{s:s, s:s, s:s}", "user_token", userToken.GetString(), "app_id", appId.GetString(),
                "device_id", deviceId.GetString());
    return source;
}

bool NexiloAgent::InitNxp() {
    const logging::FunctionLog log(L"NexiloAgent::InitNxp", m_env.log);
    NX_TRACE_SCOPE(log);
    m_nxpComm.reset();

    if (m_env.cloudClient.Acquire() == nullptr) {
        NX_LOG_ERROR(log, L"error on nexilo comm lib init");
        return false;
    }
    ++m_cloudUses;

    const cv::Json source = _IdentitySource();

    // The value form is made only when a line will be written.
    NX_LOG_INFO(log, L"init cloud comm %s", cv::ValueFromJson(source).ToString().GetString());

    cloud::CloudClientUses& uses = m_env.cloudClient;
    m_nxpComm = std::make_unique<nxp::CloudComm>([&uses] { return uses.Table(); });
    if (m_nxpComm->Init(source, [this](const std::wstring& text) { NxpLogCallback(text); }) != 0) {
        NX_LOG_ERROR(log, L"error on nexilo comm init");
        return false;
    }
    return true;
}

std::uint32_t NexiloAgent::Ask(const wchar_t* service, const wchar_t* method,
                               const cv::Value& params, cv::Value& result, bool* isError,
                               const cv::Value& destination) {
    const logging::FunctionLog log(L"NexiloAgent::Ask", m_env.log);
    if (isError == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_lock);
    if (!m_nxpComm) {
        NX_LOG_ERROR(log, L"m_nxpComm is null");
        return platform::kFailureWithoutCode;
    }
    const std::wstring serviceText = service != nullptr ? service : L"";
    const std::wstring methodText = method != nullptr ? method : L"";
    NX_LOG_TRACE(log, L"message %s", params.ToString().GetString());

    const cv::Json request = cv::ValueToJson(params);
    cv::Json reply;
    cv::Json target;
    if (destination.GetType() != cv::Value::Type::kNull) {
        target = cv::ValueToJson(destination);
    }
    NX_LOG_TRACE(log, L"Ask service %s method %s request %s", serviceText.c_str(),
                 methodText.c_str(), cv::ValueFromJson(request).ToString().GetString());

    const std::uint32_t code =
        m_nxpComm->Ask(serviceText, methodText, request, reply, isError, target);
    if (reply.IsValid()) {
        result = cv::ValueFromJson(reply);
    }
    NX_LOG_TRACE(log, L"reply %s", result.ToString().GetString());
    return code;
}

void NexiloAgent::NxpLogCallback(const std::wstring& text) const {
    const logging::FunctionLog log(L"NexiloAgent::NxpLogCallback", m_env.log);
    const std::size_t lastFeed = text.rfind(L'\n');
    const std::wstring line = lastFeed == std::wstring::npos ? text : text.substr(0, lastFeed);
    NX_LOG_INFO(log, L"NxpLogCallback: %s", line.c_str());
}
