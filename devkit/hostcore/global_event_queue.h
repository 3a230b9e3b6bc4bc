// GlobalEventQueue: the object "GlobalEventQueue" that hostcore's factory makes, a client handle
// on the process's shared scheduler (scheduler.h) with the IEventQueue contract.
//
// Each object is one client: its ids, its Close. Destroying it (CvDestroyObject) closes it and
// waits until all of its work is complete, so the module can be unloaded right after; it must
// not be destroyed from inside one of its own runs while other runs of it are under way.
#pragma once

#include "devkit/hostcore/scheduler.h"
#include "nexilo/event_queue.h"

#include <memory>

namespace devkit::hostcore {

class GlobalEventQueue final : public IEventQueue {
public:
    GlobalEventQueue();
    ~GlobalEventQueue();
    GlobalEventQueue(const GlobalEventQueue&) = delete;
    GlobalEventQueue& operator=(const GlobalEventQueue&) = delete;

    void* QueryInterface(CvIid iid) override;
    std::uint32_t Initialise(std::int32_t minimumWorkers) override;
    std::uint32_t Close() override;
    std::uint32_t PostNow(const wchar_t* name, std::uint32_t* id, EqWorkItem* run,
                          EqWorkItem* finished, std::uint32_t reserved1,
                          std::uint32_t reserved2) override;
    std::uint32_t PostTimed(const wchar_t* name, std::uint32_t* id, std::int32_t firstDelayMs,
                            std::int32_t periodMs, EqWorkItem* run, EqWorkItem* finished,
                            std::uint32_t reserved1, std::uint32_t reserved2) override;
    std::uint32_t ReservedSlot5() override;
    std::uint32_t Wait(std::uint32_t id, std::uint32_t timeoutMs) override;
    std::uint32_t Cancel(std::uint32_t id) override;
    std::uint32_t ReleaseId(std::uint32_t id) override;

private:
    std::shared_ptr<Scheduler> m_scheduler;
    std::shared_ptr<Client> m_client;
};

} // namespace devkit::hostcore
