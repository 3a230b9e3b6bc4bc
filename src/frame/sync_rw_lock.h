// CSyncRWLock: the reader/writer lock under the subscriber lists: recursive for readers and
// writers, a writer may also read, and a waiting writer holds back new readers.
//
// Contract:
// - A thread that holds a side may take that side again any number of times; the writer may take
//   the read side. A waiting writer holds back new readers, except threads that already read.
// - Release hands the lock over before the woken threads run (a writer first, else every waiting
//   reader at once), so no third thread can overtake them.
// - Misuse ends the process at once (std::abort): unlocking a read that the thread doesn't hold,
//   unlocking a write that it doesn't hold, asking for write while holding read. There is no
//   time-out: a lock held for ever blocks its waiters for ever.
// - A thread id of 0 means the calling thread (the system's id, platform/thread_id.h).
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

class ISyncRWLock {
public:
    // slot 0
    virtual void LockRead(std::uint32_t threadId) = 0;
    // slot 1
    virtual void UnlockRead(std::uint32_t threadId) = 0;
    // slot 2
    virtual void LockWrite(std::uint32_t threadId) = 0;
    // slot 3
    virtual void UnlockWrite(std::uint32_t threadId) = 0;

protected:
    ~ISyncRWLock() = default;
};

class CSyncRWLock : public ISyncRWLock {
public:
    CSyncRWLock() = default;
    ~CSyncRWLock() = default;
    CSyncRWLock(const CSyncRWLock&) = delete;
    CSyncRWLock& operator=(const CSyncRWLock&) = delete;

    void LockRead(std::uint32_t threadId) override;
    void UnlockRead(std::uint32_t threadId) override;
    void LockWrite(std::uint32_t threadId) override;
    void UnlockWrite(std::uint32_t threadId) override;

    // A consistent snapshot of the counters, for tests and diagnostics.
    struct State {
        std::int32_t waitingReaders;
        std::int32_t waitingWriters;
        std::int32_t activeReaders;
        std::int32_t activeWriters;
        std::uint32_t writerThread;
    };
    State Snapshot();

private:
    // mingw-w64: libstdc++ 12's std::counting_semaphore waits in address-hashed pools there, and
    // a release meant for one semaphore can wake a waiter of the other (a lost wake-up, seen as
    // a hang under Wine). A semaphore of its own condition variable has no such sharing.
    class Semaphore {
    public:
        void Acquire();
        void Release(std::ptrdiff_t count);

    private:
        std::mutex m_mutex;
        std::condition_variable m_available;
        std::ptrdiff_t m_count = 0;
    };

    struct Wakeups {
        std::ptrdiff_t readers = 0;
        bool writer = false;
    };
    // Gives the free lock to a waiting writer, else to all waiting readers. Section held.
    Wakeups HandOverLocked();
    void Wake(const Wakeups& wakeups);

    std::mutex m_section;
    Semaphore m_readerSemaphore;
    Semaphore m_writerSemaphore;
    std::int32_t m_waitingReaders = 0;
    std::int32_t m_waitingWriters = 0;
    std::int32_t m_activeReaders = 0;
    std::int32_t m_activeWriters = 0;
    std::uint32_t m_writerThread = 0;
    std::int32_t m_writerReadCount = 0;
    std::int32_t m_writerWriteCount = 0;
    std::map<std::uint32_t, std::int32_t> m_readers;
};
