// The identity from the account node service, read through its control tool.
#include "agent/nexilo_agent.h"

#include "diag/function_tracer.h"
#include "process/node_tool.h"

bool NexiloAgent::_GetProductNodeData() {
    const logging::FunctionLog log(L"NexiloAgent::_GetProductNodeData", m_env.log);
    NX_TRACE_SCOPE(log);
    std::lock_guard lock(m_lock);
    std::wstring deviceId;
    std::wstring userToken;
    const bool found = process::NodeToolClient(m_env.toolFolder, m_env.launcher, m_env.log)
                           .GetNexiloInfo(deviceId, userToken);
    if (found) {
        m_deviceId = deviceId.c_str();
        m_userToken = userToken.c_str();
    } else {
        m_deviceId = L"";
        m_userToken = L"";
    }
    NX_LOG_INFO(log, L"user token [%s], device id [%s], app id [%s]", m_userToken.GetString(),
                m_deviceId.GetString(), m_appId.GetString());
    return found;
}
