// EasyEQ: timed work on the host's shared queue ("GlobalEventQueue" of hostcore.dll): run a
// function after a delay, then at a period, and cancel and wait for all of it at Stop.
//
// Contract:
// - Load (ExportedObject) binds the queue; the owner then calls Initialise on Interface().
// - Schedule(name, task, firstDelayMs, periodMs) queues the task and keeps it in a table; a
//   negative delay together with a negative period means "once, now". It returns false without
//   a queue, after Stop (for good, also after a new Load) and when the queue refuses; the task
//   then stays with the caller, and nothing is logged.
// - A one-shot task leaves the table after it has run; a periodic task stays until Stop.
// - Stop cancels every task in the table and waits for each without limit, gives back the ids,
//   closes the queue and unloads it. It may be called again (then it does nothing) and from the
//   owner's destructor. It must not be called from inside a task.
// - Threads: Schedule and Stop may come from different threads; tasks run on the queue's
//   workers. m_mutex is a plain mutex, never held while a task runs or while Stop waits, so a
//   task that runs during Stop can finish and its finished item can take the lock. The work
//   items hold the task by shared_ptr, which keeps it alive until the queue has released them.
#pragma once

#include "frame/exported_object.h"
#include "nexilo/event_queue.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <set>

struct EasyEQTask {
    std::function<void()> m_function;
    IEventQueue* m_queue = nullptr;
    std::uint32_t m_id = 0;
    std::atomic<bool> m_periodic{false};
    std::atomic<bool> m_canceled{false};
};

// A work item that calls a member function of C with a bound argument.
template <class R, class C, class A>
class EqWorkItemMember1 final : public EqWorkItem {
public:
    using Member = R (C::*)(A);

    EqWorkItemMember1(C* object, Member member, A argument)
        : m_object(object), m_member(member), m_argument(std::move(argument)) {}

    void* ScalarDeletingDestructor(std::uint32_t flags) override {
        this->~EqWorkItemMember1();
        if (flags & kCvDeleteMemory) {
            ::operator delete(this);
        }
        return this;
    }
    void Release() override { delete this; }
    void Run() override { (m_object->*m_member)(A(m_argument)); }

private:
    ~EqWorkItemMember1() = default;

    C* m_object;
    Member m_member;
    A m_argument;
};

namespace frame_testing {
class EasyEQPeer;
}

class EasyEQ : public ExportedObject<IEventQueue> {
public:
    EasyEQ() = default;
    ~EasyEQ();

    bool Schedule(const wchar_t* name, std::shared_ptr<EasyEQTask> task, std::int32_t firstDelayMs,
                  std::int32_t periodMs);
    void Stop();

    // Tasks in the table, for tests.
    std::size_t TaskCount();

private:
    friend class frame_testing::EasyEQPeer;
    using WorkItem = EqWorkItemMember1<void, EasyEQ, std::shared_ptr<EasyEQTask>>;

    void _OnRun(std::shared_ptr<EasyEQTask> task);
    void _OnFinished(std::shared_ptr<EasyEQTask> task);

    std::mutex m_mutex;
    std::set<std::shared_ptr<EasyEQTask>> m_tasks;
    bool m_stopping = false;
};
