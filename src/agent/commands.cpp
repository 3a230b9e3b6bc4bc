// The INexiloAgent operations on subscribers and the messaging flag, and those whose features
// have not joined the agent yet.
#include "agent/nexilo_agent.h"

#include "platform/error_codes.h"

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

std::uint32_t NexiloAgent::GetIpmState(bool* state) {
    if (state == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    // The product's interface always shows messages; the stored flag is not consulted here.
    *state = true;
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
std::uint32_t NexiloAgent::SetIpmState(bool) {
    return platform::kErrorCallNotImplemented;
}

std::uint32_t NexiloAgent::GetCurrentCampaign(cv::Value* out) {
    return out == nullptr ? platform::kErrorInvalidParameter : platform::kErrorCallNotImplemented;
}

std::uint32_t NexiloAgent::UpdateCurrentCampaign(cv::ByValue<cv::Value> campaign) {
    campaign.Take();
    return platform::kErrorCallNotImplemented;
}
std::uint32_t NexiloAgent::SendCommand(const cv::Value&, std::uint32_t) {
    return platform::kErrorCallNotImplemented;
}
