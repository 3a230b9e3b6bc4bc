// The INexiloAgent operations on subscribers, the command channel and the campaign, and those
// whose features have not joined the agent yet.
#include "agent/nexilo_agent.h"

#include "diag/function_tracer.h"
#include "platform/error_codes.h"

#include <cwchar>
#include <exception>

std::uint32_t NexiloAgent::RegisterEvents(IEvents* events) {
    if (events == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    return m_subscribers.Add(events) ? 0 : platform::kErrorFunctionFailed;
}

std::uint32_t NexiloAgent::UnregisterEvents(IEvents* events) {
    if (events == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    return m_subscribers.Remove(events) ? 0 : platform::kErrorFunctionFailed;
}

std::uint32_t NexiloAgent::SendCommand(const cv::Value& request, std::uint32_t) {
    const logging::FunctionLog log(L"NexiloAgent::SendCommand", m_env.log);
    NX_LOG_INFO(log, L"req: %s", request.ToString().GetString());
    try {
        // Not a dictionary, no method or a method that is no text all throw.
        if (std::wcscmp(request.At(L"method").AsString().GetString(), L"trigger_ipm") != 0) {
            return 0;
        }
        const std::int32_t displayCount = request.Get(L"display_count", cv::Value(0)).AsInt();
        m_ipm.TriggerTestCampaign(displayCount);
    } catch (const std::exception& exception) {
        NX_LOG_ERROR(log, L"exception, %S", exception.what());
    }
    return 0;
}

std::uint32_t NexiloAgent::SetIpmState(bool state) {
    m_ipm.SetState(state);
    return 0;
}

std::uint32_t NexiloAgent::GetIpmState(bool* state) {
    if (state == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    // The product's interface always shows messages; the stored flag is not consulted here.
    *state = true;
    return 0;
}

std::uint32_t NexiloAgent::GetCurrentCampaign(cv::Value* out) {
    if (out == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    m_ipm.GetCurrentCampaign(*out);
    return 0;
}

std::uint32_t NexiloAgent::UpdateCurrentCampaign(cv::ByValue<cv::Value> argument) {
    const cv::Value campaign = argument.Take();
    // A campaign of the wrong shape is the caller's mistake; it must not unwind into the host.
    try {
        m_ipm.UpdateCurrentCampaign(campaign);
    } catch (const cv::ValueException& exception) {
        const logging::FunctionLog log(L"NexiloAgent::UpdateCurrentCampaign", m_env.log);
        NX_LOG_ERROR(log, L"ValueException %S", exception.what());
    }
    return 0;
}

std::uint32_t NexiloAgent::Login() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t NexiloAgent::Logout() {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t NexiloAgent::SwitchAccount() {
    return platform::kErrorCallNotImplemented;
}

std::uint32_t NexiloAgent::GetUserDetails(cv::Value* out) {
    return out == nullptr ? platform::kErrorInvalidParameter : platform::kErrorCallNotImplemented;
}

std::uint32_t NexiloAgent::GetLanguage(cv::StringW&) {
    return platform::kErrorCallNotImplemented;
}
std::uint32_t NexiloAgent::SetLanguage(cv::ByValue<cv::StringW> language) {
    language.Take();
    return platform::kErrorCallNotImplemented;
}
