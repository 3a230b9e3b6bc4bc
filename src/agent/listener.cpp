// The main loop: the listener thread that reacts to the node service's user-changed event.
#include "agent/nexilo_agent.h"

#include "diag/function_tracer.h"

#include <system_error>

namespace {

// While the node service has no data, the listener asks again this often.
constexpr std::uint32_t kRetryMs = 30000;
// The ping timer's first run and its period.
constexpr std::int32_t kPingFirstDelayMs = 15 * 60 * 1000;
constexpr std::int32_t kPingPeriodMs = 60 * 60 * 1000;

} // namespace

void NexiloAgent::_InitUserChangedListener() {
    const logging::FunctionLog log(L"NexiloAgent::_InitUserChangedListener", m_env.log);
    platform::NamedEventResult created = m_env.events.CreateOrOpen(m_env.userChangedEventName);
    switch (created.failedAt) {
        case platform::NamedEventStage::kSecurityDescriptor:
            NX_LOG_ERROR(log, L"InitializeSecurityDescriptor failed [err %u]", created.error);
            return;
        case platform::NamedEventStage::kSecurityDacl:
            NX_LOG_ERROR(log, L"SetSecurityDescriptorDacl failed [err %u]", created.error);
            return;
        case platform::NamedEventStage::kCreate:
        case platform::NamedEventStage::kDone:
            break;
    }
    // Even a failed creation replaces the old event: UnInit then has nothing to set.
    m_userChangedEvent = std::move(created.event);
    if (!m_userChangedEvent) {
        NX_LOG_ERROR(log, L"Can't initialize global object for user changed notification [err %u]",
                     created.error);
        return;
    }
    try {
        m_listenerThread = std::thread([this] { _UserChangedListener(); });
    } catch (const std::system_error&) {
        // Without a thread the product goes on without notification; nothing more to say.
    }
}

void NexiloAgent::_UserChangedListener() {
    const logging::FunctionLog log(L"NexiloAgent::_UserChangedListener", m_env.log);
    std::uint32_t timeout = platform::kWaitInfinite;
    if (!_GetProductNodeData()) {
        timeout = kRetryMs;
    }
    _FillUserDataInEvsink();

    auto ping = std::make_shared<EasyEQTask>();
    ping->m_function = [this] { _CheckSendPing(); };
    m_queue.Schedule(L"_FirePingTimer", ping, kPingFirstDelayMs, kPingPeriodMs);

    while (!m_stop.load()) {
        const std::uint32_t result = m_userChangedEvent->Wait(timeout);
        if (m_stop.load() ||
            (result != platform::kWaitSignalled && result != platform::kWaitTimedOut)) {
            NX_LOG_ERROR(log, L"Time to leave now [%d]", static_cast<std::int32_t>(result));
            return;
        }
        std::lock_guard lock(m_lock);
        if (result == platform::kWaitSignalled) {
            NX_LOG_INFO(log, L"ProductNode fired user changed, get data and cache it");
            if (_GetProductNodeData()) {
                _GetDetailedUserInfoFromCloud();
            }
            _FillUserDataInEvsink();
            _NotifyUserChanged();
            // A signal whose fetch failed is not retried: the next chance is the next signal.
            timeout = platform::kWaitInfinite;
        } else {
            NX_LOG_INFO(log, L"Timeout has passed, retry get data");
            if (_GetProductNodeData()) {
                timeout = platform::kWaitInfinite;
            }
            _FillUserDataInEvsink();
            _NotifyUserChanged();
        }
    }
}

void NexiloAgent::_NotifyUserChanged() {
    cv::Value data(cv::Value::Type::kDict);
    data[L"nexilo_success"] = !m_userToken.IsEmpty();
    m_events.Fire(L"nexilo_user_changed", data);
}

// Named seams of the wake-up whose bodies come with the user details, telemetry and ping.
void NexiloAgent::_GetDetailedUserInfoFromCloud() {}
void NexiloAgent::_FillUserDataInEvsink() {}
void NexiloAgent::_CheckSendPing() {}
