#include "cloud/request_processor.h"

#include "platform/module_loader.h"

#include <vector>

namespace nxp {

RequestProcessor::RequestProcessor(logging::Log::Sink logSink) {
    m_log.Init(std::move(logSink), L"RequestProcessor");
    m_worker = std::thread([this] { Run(); });
}

RequestProcessor::~RequestProcessor() = default;

void RequestProcessor::PushTask(std::shared_ptr<WorkItem> item) {
    std::lock_guard lock(m_queueLock);
    m_queue.push_back(std::move(item));
    m_wake.notify_one();
}

void RequestProcessor::Stop() {
    if (!m_worker.joinable()) {
        return;
    }
    if (m_worker.get_id() == std::this_thread::get_id()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    {
        std::lock_guard lock(m_queueLock);
        m_stopRequested = true;
        m_wake.notify_one();
    }
    m_worker.join();
}

void RequestProcessor::Run() {
    for (;;) {
        std::shared_ptr<WorkItem> item;
        {
            std::unique_lock lock(m_queueLock);
            m_wake.wait(lock, [this] { return !m_queue.empty() || m_stopRequested; });
            // Queued work wins over the stop, so Stop drains the queue.
            if (m_queue.empty()) {
                return;
            }
            item = std::move(m_queue.front());
            m_queue.pop_front();
        }
        if (item) {
            item->handler(item->type, item->data.get(), item->context);
        }
    }
}

void RetireStoppedProcessor(std::unique_ptr<RequestProcessor> processor) {
    static std::mutex retiredLock;
    // Never destroyed: a stopped processor stays allocated until the process ends. The module
    // whose list holds it stays mapped as long, or the list would go with it at its unload.
    static auto* retired = new std::vector<std::unique_ptr<RequestProcessor>>();
    static const bool pinned = platform::PinThisModule();
    (void)pinned;
    std::lock_guard lock(retiredLock);
    retired->push_back(std::move(processor));
}

} // namespace nxp
