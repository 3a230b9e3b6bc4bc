#include "devkit/hostcore/scheduler.h"

#include "platform/error_codes.h"
#include "platform/module_loader.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace devkit::hostcore {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kMaxWorkers = 64;

void ReleaseItems(EqWorkItem* run, EqWorkItem* finished) noexcept {
    if (run != nullptr) {
        run->Release();
    }
    if (finished != nullptr) {
        finished->Release();
    }
}

template <class F>
void Guarded(F&& f) noexcept {
    // An item's exception must not end a worker: it would take the process with it.
    try {
        f();
    } catch (...) {
    }
}

} // namespace

struct Client {
    bool closed = false;
};

struct Work {
    enum class Phase { kQueued, kRunning, kCompleting, kComplete };

    std::uint32_t id = 0;
    std::shared_ptr<Client> client;
    std::wstring name;
    EqWorkItem* run = nullptr;
    EqWorkItem* finished = nullptr;
    std::int32_t periodMs = 0;
    Clock::time_point due;
    bool canceled = false;
    Phase phase = Phase::kQueued;
    std::thread::id runner;
};

class SchedulerCore : public std::enable_shared_from_this<SchedulerCore> {
public:
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
    void Shutdown();
    std::size_t WorkerCount();

private:
    using Lock = std::unique_lock<std::mutex>;

    void EnsureWorkersLocked(std::size_t count);
    static void WorkerLoop(std::shared_ptr<SchedulerCore> core);
    void RunWorker();
    void CompleteLocked(Lock& lock, const std::shared_ptr<Work>& work);
    void CancelLocked(const std::shared_ptr<Work>& work);
    std::shared_ptr<Work> FindLocked(const std::shared_ptr<Client>& client, std::uint32_t id);
    std::uint32_t NextIdLocked();

    std::mutex m_mutex;
    std::condition_variable m_workReady;
    std::condition_variable m_workDone;
    std::multimap<Clock::time_point, std::shared_ptr<Work>> m_timeline;
    std::unordered_map<std::uint32_t, std::shared_ptr<Work>> m_ids;
    std::set<std::shared_ptr<Work>> m_unfinished;
    std::uint32_t m_nextId = 1;
    std::vector<std::thread> m_workers;
    bool m_stop = false;
};

std::uint32_t SchedulerCore::EnsureWorkers(std::int32_t count) {
    if (count < 0 || count > kMaxWorkers) {
        return platform::kErrorInvalidParameter;
    }
    std::lock_guard lock(m_mutex);
    EnsureWorkersLocked(static_cast<std::size_t>(count));
    return platform::kErrorSuccess;
}

void SchedulerCore::EnsureWorkersLocked(std::size_t count) {
    while (!m_stop && m_workers.size() < count) {
        m_workers.emplace_back(WorkerLoop, shared_from_this());
    }
}

std::size_t SchedulerCore::WorkerCount() {
    std::lock_guard lock(m_mutex);
    return m_workers.size();
}

std::uint32_t SchedulerCore::NextIdLocked() {
    for (;;) {
        std::uint32_t id = m_nextId++;
        if (id != 0 && m_ids.find(id) == m_ids.end()) {
            return id;
        }
    }
}

std::uint32_t SchedulerCore::Post(const std::shared_ptr<Client>& client, const wchar_t* name,
                                  std::uint32_t* id, std::int32_t firstDelayMs,
                                  std::int32_t periodMs, EqWorkItem* run, EqWorkItem* finished) {
    if (run == nullptr || id == nullptr) {
        ReleaseItems(run, finished);
        return platform::kErrorInvalidParameter;
    }
    Lock lock(m_mutex);
    if (client->closed || m_stop) {
        lock.unlock();
        ReleaseItems(run, finished);
        return platform::kErrorInvalidHandle;
    }
    auto work = std::make_shared<Work>();
    work->id = NextIdLocked();
    work->client = client;
    work->name = name != nullptr ? name : L"";
    work->run = run;
    work->finished = finished;
    work->periodMs = periodMs;
    work->due = Clock::now() + std::chrono::milliseconds(std::max(firstDelayMs, 0));
    *id = work->id;
    m_ids.emplace(work->id, work);
    m_unfinished.insert(work);
    m_timeline.emplace(work->due, work);
    EnsureWorkersLocked(1);
    m_workReady.notify_one();
    return platform::kErrorSuccess;
}

std::shared_ptr<Work> SchedulerCore::FindLocked(const std::shared_ptr<Client>& client,
                                                std::uint32_t id) {
    auto found = m_ids.find(id);
    if (found == m_ids.end() || found->second->client != client) {
        return nullptr;
    }
    return found->second;
}

void SchedulerCore::CancelLocked(const std::shared_ptr<Work>& work) {
    if (work->canceled || work->phase == Work::Phase::kCompleting ||
        work->phase == Work::Phase::kComplete) {
        return;
    }
    work->canceled = true;
    if (work->phase == Work::Phase::kQueued) {
        // Bring it forward so that a worker completes it now instead of at its due time.
        for (auto it = m_timeline.begin(); it != m_timeline.end(); ++it) {
            if (it->second == work) {
                m_timeline.erase(it);
                break;
            }
        }
        work->due = Clock::now();
        m_timeline.emplace(work->due, work);
        m_workReady.notify_one();
    }
}

std::uint32_t SchedulerCore::Cancel(const std::shared_ptr<Client>& client, std::uint32_t id) {
    std::lock_guard lock(m_mutex);
    std::shared_ptr<Work> work = FindLocked(client, id);
    if (!work) {
        return platform::kErrorNotFound;
    }
    CancelLocked(work);
    return platform::kErrorSuccess;
}

std::uint32_t SchedulerCore::Wait(const std::shared_ptr<Client>& client, std::uint32_t id,
                                  std::uint32_t timeoutMs) {
    Lock lock(m_mutex);
    std::shared_ptr<Work> work = FindLocked(client, id);
    if (!work) {
        return platform::kErrorNotFound;
    }
    if (work->phase != Work::Phase::kQueued && work->phase != Work::Phase::kComplete &&
        work->runner == std::this_thread::get_id()) {
        return platform::kErrorPossibleDeadlock;
    }
    auto complete = [&] { return work->phase == Work::Phase::kComplete; };
    if (timeoutMs == kEqInfinite) {
        m_workDone.wait(lock, complete);
        return platform::kErrorSuccess;
    }
    if (!m_workDone.wait_for(lock, std::chrono::milliseconds(timeoutMs), complete)) {
        return platform::kErrorTimeout;
    }
    return platform::kErrorSuccess;
}

std::uint32_t SchedulerCore::ReleaseId(const std::shared_ptr<Client>& client, std::uint32_t id) {
    std::lock_guard lock(m_mutex);
    if (!FindLocked(client, id)) {
        return platform::kErrorNotFound;
    }
    m_ids.erase(id);
    return platform::kErrorSuccess;
}

std::uint32_t SchedulerCore::CloseClient(const std::shared_ptr<Client>& client) {
    std::lock_guard lock(m_mutex);
    client->closed = true;
    for (const std::shared_ptr<Work>& work : m_unfinished) {
        if (work->client == client) {
            CancelLocked(work);
        }
    }
    return platform::kErrorSuccess;
}

void SchedulerCore::DestroyClient(const std::shared_ptr<Client>& client) {
    CloseClient(client);
    Lock lock(m_mutex);
    // Canceled work that waits in the timeline is completed here rather than by a worker: the
    // caller may be the only worker, inside a run.
    std::vector<std::shared_ptr<Work>> queued;
    for (const std::shared_ptr<Work>& work : m_unfinished) {
        if (work->client == client && work->phase == Work::Phase::kQueued) {
            queued.push_back(work);
        }
    }
    for (const std::shared_ptr<Work>& work : queued) {
        for (auto it = m_timeline.begin(); it != m_timeline.end(); ++it) {
            if (it->second == work) {
                m_timeline.erase(it);
                CompleteLocked(lock, work);
                break;
            }
        }
    }
    const std::thread::id self = std::this_thread::get_id();
    m_workDone.wait(lock, [&] {
        return std::none_of(m_unfinished.begin(), m_unfinished.end(),
                            [&](const std::shared_ptr<Work>& work) {
                                return work->client == client && work->runner != self;
                            });
    });
    for (auto it = m_ids.begin(); it != m_ids.end();) {
        it = it->second->client == client ? m_ids.erase(it) : std::next(it);
    }
}

void SchedulerCore::WorkerLoop(std::shared_ptr<SchedulerCore> core) {
    core->RunWorker();
}

void SchedulerCore::RunWorker() {
    Lock lock(m_mutex);
    while (!m_stop) {
        if (m_timeline.empty()) {
            m_workReady.wait(lock);
            continue;
        }
        auto first = m_timeline.begin();
        // A copy: the entry may be erased while this thread waits.
        const Clock::time_point due = first->first;
        if (due > Clock::now()) {
            m_workReady.wait_until(lock, due);
            continue;
        }
        std::shared_ptr<Work> work = first->second;
        m_timeline.erase(first);
        if (work->canceled) {
            CompleteLocked(lock, work);
            continue;
        }
        work->phase = Work::Phase::kRunning;
        work->runner = std::this_thread::get_id();
        const Clock::time_point started = Clock::now();
        lock.unlock();
        Guarded([&] { work->run->Run(); });
        lock.lock();
        if (!work->canceled && work->periodMs > 0) {
            work->phase = Work::Phase::kQueued;
            work->runner = std::thread::id();
            work->due = started + std::chrono::milliseconds(work->periodMs);
            m_timeline.emplace(work->due, work);
            continue;
        }
        CompleteLocked(lock, work);
    }
}

void SchedulerCore::CompleteLocked(Lock& lock, const std::shared_ptr<Work>& work) {
    work->phase = Work::Phase::kCompleting;
    work->runner = std::this_thread::get_id();
    lock.unlock();
    if (work->finished != nullptr) {
        Guarded([&] { work->finished->Run(); });
    }
    ReleaseItems(work->run, work->finished);
    lock.lock();
    work->run = nullptr;
    work->finished = nullptr;
    work->phase = Work::Phase::kComplete;
    work->runner = std::thread::id();
    m_unfinished.erase(work);
    m_workDone.notify_all();
}

void SchedulerCore::Shutdown() {
    std::vector<std::thread> workers;
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
        workers.swap(m_workers);
        m_workReady.notify_all();
    }
    const std::thread::id self = std::this_thread::get_id();
    for (std::thread& worker : workers) {
        if (worker.get_id() == self) {
            // The last handle went away inside one of our runs: this thread returns into the
            // module's code after the call, so the module must stay mapped.
            platform::PinThisModule();
            worker.detach();
        } else {
            worker.join();
        }
    }
}

namespace {

std::mutex g_schedulerMutex;
std::weak_ptr<Scheduler> g_scheduler;

} // namespace

std::shared_ptr<Scheduler> Scheduler::Acquire() {
    std::lock_guard lock(g_schedulerMutex);
    std::shared_ptr<Scheduler> scheduler = g_scheduler.lock();
    if (!scheduler) {
        scheduler = std::make_shared<Scheduler>();
        g_scheduler = scheduler;
    }
    return scheduler;
}

Scheduler::Scheduler() : m_core(std::make_shared<SchedulerCore>()) {}

Scheduler::~Scheduler() {
    m_core->Shutdown();
}

std::shared_ptr<Client> Scheduler::RegisterClient() {
    return std::make_shared<Client>();
}

std::uint32_t Scheduler::EnsureWorkers(std::int32_t count) {
    return m_core->EnsureWorkers(count);
}

std::uint32_t Scheduler::Post(const std::shared_ptr<Client>& client, const wchar_t* name,
                              std::uint32_t* id, std::int32_t firstDelayMs, std::int32_t periodMs,
                              EqWorkItem* run, EqWorkItem* finished) {
    return m_core->Post(client, name, id, firstDelayMs, periodMs, run, finished);
}

std::uint32_t Scheduler::Wait(const std::shared_ptr<Client>& client, std::uint32_t id,
                              std::uint32_t timeoutMs) {
    return m_core->Wait(client, id, timeoutMs);
}

std::uint32_t Scheduler::Cancel(const std::shared_ptr<Client>& client, std::uint32_t id) {
    return m_core->Cancel(client, id);
}

std::uint32_t Scheduler::ReleaseId(const std::shared_ptr<Client>& client, std::uint32_t id) {
    return m_core->ReleaseId(client, id);
}

std::uint32_t Scheduler::CloseClient(const std::shared_ptr<Client>& client) {
    return m_core->CloseClient(client);
}

void Scheduler::DestroyClient(const std::shared_ptr<Client>& client) {
    m_core->DestroyClient(client);
}

std::size_t Scheduler::WorkerCount() const {
    return m_core->WorkerCount();
}

} // namespace devkit::hostcore
