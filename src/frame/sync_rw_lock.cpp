#include "frame/sync_rw_lock.h"

#include "platform/thread_id.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::uint32_t Resolve(std::uint32_t threadId) noexcept {
    return threadId != 0 ? threadId : platform::CurrentThreadId();
}

[[noreturn]] void Misuse(const char* what) noexcept {
    std::fprintf(stderr, "CSyncRWLock: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

} // namespace

void CSyncRWLock::LockRead(std::uint32_t threadId) {
    const std::uint32_t tid = Resolve(threadId);
    std::unique_lock lock(m_section);
    if (m_activeReaders > 0) {
        auto found = m_readers.find(tid);
        if (found != m_readers.end()) {
            ++found->second;
            return;
        }
        if (m_waitingWriters == 0) {
            m_readers[tid] = 1;
            ++m_activeReaders;
            return;
        }
    } else if (m_activeWriters == 0) {
        if (m_waitingWriters == 0) {
            m_readers[tid] = 1;
            ++m_activeReaders;
            return;
        }
    } else if (m_writerThread == tid) {
        ++m_writerReadCount;
        return;
    }
    ++m_waitingReaders;
    lock.unlock();
    m_readerSemaphore.Acquire();
    lock.lock();
    // The releaser has counted this reader in m_activeReaders already.
    m_readers[tid] = 1;
}

void CSyncRWLock::UnlockRead(std::uint32_t threadId) {
    const std::uint32_t tid = Resolve(threadId);
    Wakeups wakeups;
    {
        std::lock_guard lock(m_section);
        if (m_activeReaders > 0) {
            auto found = m_readers.find(tid);
            if (found == m_readers.end()) {
                Misuse("read unlocked by a thread that does not read");
            }
            if (found->second > 1) {
                --found->second;
                return;
            }
            m_readers.erase(found);
            --m_activeReaders;
            if (m_activeReaders == 0 && m_waitingWriters != 0) {
                --m_waitingWriters;
                ++m_activeWriters;
                wakeups.writer = true;
            }
        } else {
            if (m_activeWriters == 0 || m_writerThread != tid || m_writerReadCount <= 0) {
                Misuse("read unlocked by a thread that does not read");
            }
            --m_writerReadCount;
            if (m_writerReadCount == 0 && m_writerWriteCount == 0) {
                wakeups = HandOverLocked();
            }
        }
    }
    Wake(wakeups);
}

void CSyncRWLock::LockWrite(std::uint32_t threadId) {
    const std::uint32_t tid = Resolve(threadId);
    std::unique_lock lock(m_section);
    if (m_activeReaders > 0) {
        if (m_readers.find(tid) != m_readers.end()) {
            Misuse("write asked for by a thread that reads");
        }
    } else if (m_activeWriters == 0) {
        m_writerThread = tid;
        m_writerReadCount = 0;
        m_writerWriteCount = 1;
        ++m_activeWriters;
        return;
    } else if (m_writerThread == tid) {
        ++m_writerWriteCount;
        return;
    }
    ++m_waitingWriters;
    lock.unlock();
    m_writerSemaphore.Acquire();
    lock.lock();
    // The releaser has raised m_activeWriters already.
    m_writerThread = tid;
    m_writerReadCount = 0;
    m_writerWriteCount = 1;
}

void CSyncRWLock::UnlockWrite(std::uint32_t threadId) {
    const std::uint32_t tid = Resolve(threadId);
    Wakeups wakeups;
    {
        std::lock_guard lock(m_section);
        if (m_activeWriters == 0 || m_writerThread != tid || m_writerWriteCount <= 0) {
            Misuse("write unlocked by a thread that does not write");
        }
        --m_writerWriteCount;
        if (m_writerReadCount == 0 && m_writerWriteCount == 0) {
            wakeups = HandOverLocked();
        }
    }
    Wake(wakeups);
}

CSyncRWLock::Wakeups CSyncRWLock::HandOverLocked() {
    Wakeups wakeups;
    m_activeWriters = 0;
    m_writerThread = 0;
    if (m_waitingWriters != 0) {
        --m_waitingWriters;
        ++m_activeWriters;
        wakeups.writer = true;
    } else if (m_waitingReaders != 0) {
        m_activeReaders = m_waitingReaders;
        wakeups.readers = m_waitingReaders;
        m_waitingReaders = 0;
    }
    return wakeups;
}

void CSyncRWLock::Wake(const Wakeups& wakeups) {
    if (wakeups.writer) {
        m_writerSemaphore.Release(1);
    }
    if (wakeups.readers > 0) {
        m_readerSemaphore.Release(wakeups.readers);
    }
}

CSyncRWLock::State CSyncRWLock::Snapshot() {
    std::lock_guard lock(m_section);
    return {m_waitingReaders, m_waitingWriters, m_activeReaders, m_activeWriters, m_writerThread};
}

void CSyncRWLock::Semaphore::Acquire() {
    std::unique_lock lock(m_mutex);
    m_available.wait(lock, [&] { return m_count > 0; });
    --m_count;
}

void CSyncRWLock::Semaphore::Release(std::ptrdiff_t count) {
    {
        std::lock_guard lock(m_mutex);
        m_count += count;
    }
    if (count == 1) {
        m_available.notify_one();
    } else {
        m_available.notify_all();
    }
}
