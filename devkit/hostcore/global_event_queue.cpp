#include "devkit/hostcore/global_event_queue.h"

#include "platform/error_codes.h"

namespace devkit::hostcore {

GlobalEventQueue::GlobalEventQueue()
    : m_scheduler(Scheduler::Acquire()), m_client(m_scheduler->RegisterClient()) {}

GlobalEventQueue::~GlobalEventQueue() {
    m_scheduler->DestroyClient(m_client);
}

void* GlobalEventQueue::QueryInterface(CvIid iid) {
    if (iid == kIidCvBaseInterface) {
        return static_cast<ICvBaseInterface*>(this);
    }
    if (iid == kIidEventQueue) {
        return static_cast<IEventQueue*>(this);
    }
    return nullptr;
}

std::uint32_t GlobalEventQueue::Initialise(std::int32_t minimumWorkers) {
    return m_scheduler->EnsureWorkers(minimumWorkers);
}

std::uint32_t GlobalEventQueue::Close() {
    return m_scheduler->CloseClient(m_client);
}

std::uint32_t GlobalEventQueue::PostNow(const wchar_t* name, std::uint32_t* id, EqWorkItem* run,
                                        EqWorkItem* finished, std::uint32_t, std::uint32_t) {
    return m_scheduler->Post(m_client, name, id, 0, 0, run, finished);
}

std::uint32_t GlobalEventQueue::PostTimed(const wchar_t* name, std::uint32_t* id,
                                          std::int32_t firstDelayMs, std::int32_t periodMs,
                                          EqWorkItem* run, EqWorkItem* finished, std::uint32_t,
                                          std::uint32_t) {
    return m_scheduler->Post(m_client, name, id, firstDelayMs, periodMs, run, finished);
}

std::uint32_t GlobalEventQueue::ReservedSlot5() {
    return platform::kErrorCallNotImplemented;
}

std::uint32_t GlobalEventQueue::Wait(std::uint32_t id, std::uint32_t timeoutMs) {
    return m_scheduler->Wait(m_client, id, timeoutMs);
}

std::uint32_t GlobalEventQueue::Cancel(std::uint32_t id) {
    return m_scheduler->Cancel(m_client, id);
}

std::uint32_t GlobalEventQueue::ReleaseId(std::uint32_t id) {
    return m_scheduler->ReleaseId(m_client, id);
}

} // namespace devkit::hostcore
