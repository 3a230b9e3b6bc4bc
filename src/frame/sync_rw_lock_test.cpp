#include "frame/sync_rw_lock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// Waits for a condition other threads make true; false only in a broken build.
bool WaitFor(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

class Journal {
public:
    void Add(const std::string& entry) {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
    }
    std::vector<std::string> Entries() {
        std::lock_guard lock(m_mutex);
        return m_entries;
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_entries;
};

bool IsFree(CSyncRWLock& lock) {
    CSyncRWLock::State state = lock.Snapshot();
    return state.activeReaders == 0 && state.activeWriters == 0 && state.waitingReaders == 0 &&
           state.waitingWriters == 0 && state.writerThread == 0;
}

TEST(CSyncRWLockTest, AWaitingWriterHoldsBackNewReadersButNotARereadingOne) {
    CSyncRWLock lock;
    Journal journal;
    lock.LockRead(0); // reader A: this thread

    std::thread writer([&] {
        lock.LockWrite(0);
        journal.Add("W");
        lock.UnlockWrite(0);
    });
    ASSERT_TRUE(WaitFor([&] { return lock.Snapshot().waitingWriters == 1; }));

    std::thread readerB([&] {
        lock.LockRead(0);
        journal.Add("B");
        lock.UnlockRead(0);
    });
    ASSERT_TRUE(WaitFor([&] { return lock.Snapshot().waitingReaders == 1; }));

    lock.LockRead(0); // A again: gets in at once despite the waiting writer
    journal.Add("A");
    lock.UnlockRead(0);
    EXPECT_EQ(journal.Entries().size(), 1u) << "W and B still wait";
    lock.UnlockRead(0);

    writer.join();
    readerB.join();
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"A", "W", "B"}));
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockTest, TheWriterMayReadAndUnlockInEitherOrder) {
    CSyncRWLock lock;
    lock.LockWrite(0);
    lock.LockRead(0);
    lock.UnlockWrite(0);
    EXPECT_FALSE(IsFree(lock)) << "still held by the writer's read";
    lock.UnlockRead(0);
    EXPECT_TRUE(IsFree(lock));

    lock.LockWrite(0);
    lock.LockWrite(0);
    lock.LockRead(0);
    lock.UnlockRead(0);
    lock.UnlockWrite(0);
    EXPECT_FALSE(IsFree(lock));
    lock.UnlockWrite(0);
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockTest, ReleaseHandsTheLockToEveryWaitingReaderAtOnce) {
    CSyncRWLock lock;
    lock.LockWrite(0);
    std::latch bothIn(2);
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            lock.LockRead(0);
            bothIn.arrive_and_wait(); // both read at the same time, or this never returns
            lock.UnlockRead(0);
        });
    }
    ASSERT_TRUE(WaitFor([&] { return lock.Snapshot().waitingReaders == 2; }));
    lock.UnlockWrite(0);
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockTest, AWaitingWriterGoesBeforeReadersThatCameLater) {
    CSyncRWLock lock;
    Journal journal;
    lock.LockWrite(0);
    std::thread writer([&] {
        lock.LockWrite(0);
        journal.Add("W2");
        lock.UnlockWrite(0);
    });
    ASSERT_TRUE(WaitFor([&] { return lock.Snapshot().waitingWriters == 1; }));
    std::thread reader([&] {
        lock.LockRead(0);
        journal.Add("R");
        lock.UnlockRead(0);
    });
    ASSERT_TRUE(WaitFor([&] { return lock.Snapshot().waitingReaders == 1; }));
    lock.UnlockWrite(0);
    writer.join();
    reader.join();
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"W2", "R"}));
}

TEST(CSyncRWLockTest, ExplicitThreadIdsNameTheHolder) {
    CSyncRWLock lock;
    lock.LockRead(42);
    std::thread([&] { lock.UnlockRead(42); }).join();
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockDeathTest, MisuseEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            CSyncRWLock lock;
            lock.UnlockRead(0);
        },
        "read unlocked");
    EXPECT_DEATH(
        {
            CSyncRWLock lock;
            lock.LockRead(7);
            lock.UnlockRead(8);
        },
        "read unlocked");
    EXPECT_DEATH(
        {
            CSyncRWLock lock;
            lock.UnlockWrite(0);
        },
        "write unlocked");
    EXPECT_DEATH(
        {
            CSyncRWLock lock;
            lock.LockWrite(7);
            lock.UnlockWrite(8);
        },
        "write unlocked");
    EXPECT_DEATH(
        {
            CSyncRWLock lock;
            lock.LockRead(0);
            lock.LockWrite(0);
        },
        "write asked for by a thread that reads");
}

} // namespace
