#include "frame/easy_eq.h"

EasyEQ::~EasyEQ() {
    Stop();
}

bool EasyEQ::Schedule(const wchar_t* name, std::shared_ptr<EasyEQTask> task,
                      std::int32_t firstDelayMs, std::int32_t periodMs) {
    if (m_interface == nullptr || task == nullptr) {
        return false;
    }
    std::lock_guard lock(m_mutex);
    if (m_stopping) {
        return false;
    }
    task->m_queue = m_interface;
    task->m_periodic = periodMs > 0;
    // A failed allocation passes a null item on; the queue refuses it and frees the other.
    auto* run = new (std::nothrow) WorkItem(this, &EasyEQ::_OnRun, task);
    auto* finished = new (std::nothrow) WorkItem(this, &EasyEQ::_OnFinished, task);
    std::uint32_t result = 0;
    if (firstDelayMs < 0 && periodMs < 0) {
        result = m_interface->PostNow(name, &task->m_id, run, finished, 0, 0);
    } else {
        result =
            m_interface->PostTimed(name, &task->m_id, firstDelayMs, periodMs, run, finished, 0, 0);
    }
    if (result != 0) {
        return false;
    }
    m_tasks.insert(std::move(task));
    return true;
}

void EasyEQ::Stop() {
    if (m_interface == nullptr) {
        return;
    }
    std::set<std::shared_ptr<EasyEQTask>> tasks;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        tasks.swap(m_tasks);
    }
    for (const std::shared_ptr<EasyEQTask>& task : tasks) {
        if (task->m_id != 0 && !task->m_canceled.exchange(true)) {
            m_interface->Cancel(task->m_id);
            m_interface->Wait(task->m_id, kEqInfinite);
        }
        if (task->m_id != 0) {
            m_interface->ReleaseId(task->m_id);
            task->m_id = 0;
        }
    }
    tasks.clear();
    m_interface->Close();
    Unload();
}

std::size_t EasyEQ::TaskCount() {
    std::lock_guard lock(m_mutex);
    return m_tasks.size();
}

void EasyEQ::_OnRun(std::shared_ptr<EasyEQTask> task) {
    if (task->m_function) {
        task->m_function();
    }
    if (!task->m_periodic) {
        std::lock_guard lock(m_mutex);
        m_tasks.erase(task);
    }
}

void EasyEQ::_OnFinished(std::shared_ptr<EasyEQTask> task) {
    std::lock_guard lock(m_mutex);
    m_tasks.erase(task);
}
