// nxp::RequestProcessor: a single-worker queue that runs nxp::WorkItem objects one at a time, in
// the order they were pushed, on a thread of its own.
//
// Contract: the constructor starts the worker. PushTask never blocks on a running task and
// never fails. Stop ends the worker, and work queued before it always runs first: the worker
// takes a queued item before it looks at the stop, so every item pushed before Stop (and any an
// item pushes while the queue drains) runs before Stop returns. Stop on the worker itself throws
// std::system_error (resource_deadlock_would_occur). Destroying a processor whose worker still
// runs ends the process, as any joinable std::thread does; items left in the queue of a stopped
// processor are released without running.
// Owners keep a stopped processor allocated rather than deleting it (RetireStoppedProcessor).
// Threads: PushTask from any thread; Stop from one thread, never the worker. Handlers must not
// throw: an exception on the worker ends the process, as does an empty handler.
#pragma once

#include "diag/nxp_log.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace nxp {

enum class TaskType : std::int32_t {
    Register = 7,
};

// The payload of a task; owned by its WorkItem.
class IData {
public:
    IData() = default;
    IData(const IData&) = delete;
    IData& operator=(const IData&) = delete;
    virtual ~IData() = default;
};

struct WorkItem {
    using Handler = std::function<void(TaskType type, IData* data, void* context)>;

    std::unique_ptr<IData> data;
    TaskType type = TaskType::Register;
    void* context = nullptr; // not owned
    Handler handler;
};

class RequestProcessor {
public:
    explicit RequestProcessor(logging::Log::Sink logSink);
    RequestProcessor(const RequestProcessor&) = delete;
    RequestProcessor& operator=(const RequestProcessor&) = delete;
    virtual ~RequestProcessor();

    // Queues the item at the back; a null item is skipped by the worker.
    virtual void PushTask(std::shared_ptr<WorkItem> item);

    // Runs what is queued, then ends the worker. A second call does nothing.
    void Stop();

private:
    friend class RequestProcessorPeer;
    void Run();

    std::deque<std::shared_ptr<WorkItem>> m_queue;
    std::mutex m_queueLock;
    std::condition_variable m_wake;
    bool m_stopRequested = false;
    logging::Log m_log;
    std::thread m_worker;
};

// Keeps a stopped processor allocated and reachable until the process ends, and with it the
// module that holds the list (it is pinned at the first call). The stop leaves nothing running,
// but its owner's contract is to let it go without destroying it, and a leak checker must not
// count it.
void RetireStoppedProcessor(std::unique_ptr<RequestProcessor> processor);

} // namespace nxp
