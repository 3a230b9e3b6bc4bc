// Test access to what an agent holds, without widening its interface.
#pragma once

#include "agent/nexilo_agent.h"

#include <mutex>

namespace agent_testing {

class NexiloAgentPeer {
public:
    static cv::StringW AppId(const NexiloAgent& agent) { return Locked(agent, agent.m_appId); }
    static cv::StringW UserToken(const NexiloAgent& agent) {
        return Locked(agent, agent.m_userToken);
    }
    static cv::StringW DeviceId(const NexiloAgent& agent) {
        return Locked(agent, agent.m_deviceId);
    }
    static cv::StringW ProductVersion(const NexiloAgent& agent) { return agent.m_productVersion; }
    static cv::StringW InstalledVersion(const NexiloAgent& agent) {
        return agent.m_installedVersion;
    }
    static cv::StringW OsVersion(const NexiloAgent& agent) { return agent.m_osVersion; }
    static cv::StringW ProductValue(const NexiloAgent& agent, int index) {
        const cv::StringW* values[] = {nullptr, &agent.m_productValue1, &agent.m_productValue2,
                                       &agent.m_productValue3};
        return *values[index];
    }

    static bool GetProductNodeData(NexiloAgent& agent) { return agent._GetProductNodeData(); }
    static bool HasListener(const NexiloAgent& agent) { return agent.m_listenerThread.joinable(); }
    static bool HasUserChangedEvent(const NexiloAgent& agent) {
        return agent.m_userChangedEvent != nullptr;
    }
    // Timers on the host's queue: the ping timer once the listener has started.
    static std::size_t QueueTasks(NexiloAgent& agent) { return agent.m_queue.TaskCount(); }
    // Holds the agent's outer lock, as a wake-up of the listener or an Ask does.
    static std::unique_lock<std::recursive_mutex> Lock(NexiloAgent& agent) {
        return std::unique_lock(agent.m_lock);
    }
    static void NxpLogCallback(const NexiloAgent& agent, const std::wstring& text) {
        agent.NxpLogCallback(text);
    }

private:
    static cv::StringW Locked(const NexiloAgent& agent, const cv::StringW& field) {
        std::lock_guard lock(agent.m_lock);
        return field;
    }
};

} // namespace agent_testing
