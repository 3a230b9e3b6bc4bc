// The dev kit's timed work scheduler: worker threads, one-shot and periodic timers, shared by
// every queue handle of the process (global_event_queue.h). The contract of each operation is
// IEventQueue's (nexilo/event_queue.h); this header adds what the handles rely on.
//
// - Clients: each handle registers one. Ids are unique in the process; an id asked about by
//   another client is unknown (1168). CloseClient cancels the client's unfinished work and
//   refuses new work; DestroyClient closes, then waits until every unfinished work of the client
//   is complete (except work being run by the calling thread itself) and forgets its ids.
// - Completion, when a work is canceled or has run for the last time, always happens on a worker:
//   `finished` runs, then both items are released, then waiters wake. Exceptions thrown by items
//   are swallowed.
// - Lifetime: the core lives while a Scheduler or one of its workers holds it. The last Scheduler
//   stops and joins the workers; when that happens on a worker (a handle destroyed from inside a
//   run), that worker is left to end by itself and the module is pinned so its code stays mapped.
#pragma once

#include "nexilo/event_queue.h"

#include <cstdint>
#include <memory>

namespace devkit::hostcore {

class SchedulerCore;
struct Client;

class Scheduler {
public:
    // The process's scheduler, made on first use and shared by the handles.
    static std::shared_ptr<Scheduler> Acquire();

    Scheduler();
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    std::shared_ptr<Client> RegisterClient();
    std::uint32_t EnsureWorkers(std::int32_t count);
    std::uint32_t Post(const std::shared_ptr<Client>& client, const wchar_t* name,
                       std::uint32_t* id, std::int32_t firstDelayMs, std::int32_t periodMs,
                       EqWorkItem* run, EqWorkItem* finished);
    std::uint32_t Wait(const std::shared_ptr<Client>& client, std::uint32_t id,
                       std::uint32_t timeoutMs);
    std::uint32_t Cancel(const std::shared_ptr<Client>& client, std::uint32_t id);
    std::uint32_t ReleaseId(const std::shared_ptr<Client>& client, std::uint32_t id);
    std::uint32_t CloseClient(const std::shared_ptr<Client>& client);
    void DestroyClient(const std::shared_ptr<Client>& client);

    std::size_t WorkerCount() const;

private:
    std::shared_ptr<SchedulerCore> m_core;
};

} // namespace devkit::hostcore
