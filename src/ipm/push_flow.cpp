// The push client and its request processor: started with the agent's identity, stopped before
// the agent's cloud session goes.
#include "ipm/ipm.h"

#include "diag/function_tracer.h"
#include "foundation/value_json.h"

bool Ipm::_InitPush() {
    const logging::FunctionLog log(L"Ipm::_InitPush", Sink());
    NX_TRACE_SCOPE(log);
    const cv::Json source = m_host->IpmIdentitySource();
    // The value form is made only when a line will be written.
    NX_LOG_INFO(log, L"init_push_req %s", cv::ValueFromJson(source).ToString().GetString());

    auto sink = [this](const std::wstring& message) { _NxpLogCbk(message); };
    m_processor = std::make_unique<nxp::RequestProcessor>(sink);
    m_push = std::make_unique<nxp::NexiloPush>(m_processor.get(), m_host->IpmPushLoader());
    if (m_push->Init(source, sink) != 0) {
        NX_LOG_ERROR(log, L"error on NexiloPush init");
        return false;
    }
    return true;
}

void Ipm::_UninitPush() {
    const logging::FunctionLog log(L"Ipm::_UninitPush", Sink());
    NX_TRACE_SCOPE(log);
    if (m_processor) {
        m_processor->Stop();
    }
    m_push.reset();
    if (m_processor) {
        nxp::RetireStoppedProcessor(std::move(m_processor));
    }
}

void Ipm::_NxpLogCbk(const std::wstring& message) {
    if (message.empty()) {
        return;
    }
    const logging::FunctionLog log(L"_NxpLogCbk", Sink());
    const std::size_t lineFeed = message.rfind(L'\n');
    const std::wstring text =
        lineFeed == std::wstring::npos ? message : message.substr(0, lineFeed);
    NX_LOG_INFO(log, L"[PUSH] %s", text.c_str());
}
