#include "frame/sync_rw_lock.h"

#include "frame/testing/threads.h"
#include "platform/testing/latch.h"

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using frame_testing::WaitFor;

// What threads did, in order; read once they have ended.
struct Journal {
    void Add(const std::string& entry) {
        std::lock_guard lock(mutex);
        entries.push_back(entry);
    }
    std::mutex mutex;
    std::vector<std::string> entries;
};

bool IsFree(CSyncRWLock& lock) {
    CSyncRWLock::State state = lock.Snapshot();
    return state.activeReaders == 0 && state.activeWriters == 0 && state.waitingReaders == 0 &&
           state.waitingWriters == 0 && state.writerThread == 0;
}

// Starts a thread that takes one side of the lock, notes `entry`, does `inside` and gives the
// side back, and returns once that thread waits for the lock.
std::thread Waiter(
    CSyncRWLock& lock, Journal& journal, bool write, std::string entry,
    std::function<void()> inside = [] {}) {
    const CSyncRWLock::State before = lock.Snapshot();
    std::thread thread([&lock, &journal, write, entry, inside] {
        write ? lock.LockWrite(0) : lock.LockRead(0);
        journal.Add(entry);
        inside();
        write ? lock.UnlockWrite(0) : lock.UnlockRead(0);
    });
    EXPECT_TRUE(WaitFor([&] {
        CSyncRWLock::State now = lock.Snapshot();
        return write ? now.waitingWriters > before.waitingWriters
                     : now.waitingReaders > before.waitingReaders;
    }));
    return thread;
}

TEST(CSyncRWLockTest, AWaitingWriterGoesFirstThenEveryWaitingReaderAtOnce) {
    CSyncRWLock lock;
    Journal journal;
    platform_testing::Latch bothReadersIn(2);
    lock.LockRead(0);
    std::thread writer = Waiter(lock, journal, true, "W");
    std::thread readers[] = {
        Waiter(lock, journal, false, "R", [&] { bothReadersIn.ArriveAndWait(); }),
        Waiter(lock, journal, false, "R", [&] { bothReadersIn.ArriveAndWait(); })};
    lock.LockRead(0); // this thread reads again: in at once despite the waiting writer
    journal.Add("A");
    lock.UnlockRead(0);
    lock.UnlockRead(0);
    writer.join();
    for (std::thread& reader : readers) {
        reader.join(); // both read at the same time, or this never returns
    }
    EXPECT_EQ(journal.entries, (std::vector<std::string>{"A", "W", "R", "R"}));
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockTest, AWriterGivingUpTheLockHandsItToAWaitingWriterBeforeWaitingReaders) {
    CSyncRWLock lock;
    Journal journal;
    lock.LockWrite(0);
    std::thread reader = Waiter(lock, journal, false, "R");
    std::thread writer = Waiter(lock, journal, true, "W");
    lock.UnlockWrite(0);
    writer.join();
    reader.join();
    EXPECT_EQ(journal.entries, (std::vector<std::string>{"W", "R"}));
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockTest, TheWriterMayTakeBothSidesAgainAndGiveThemBackInAnyOrder) {
    CSyncRWLock lock;
    lock.LockWrite(0);
    lock.LockWrite(0);
    lock.LockRead(0);
    lock.UnlockWrite(0);
    lock.UnlockWrite(0);
    EXPECT_FALSE(IsFree(lock)) << "still held by the writer's read";
    lock.UnlockRead(0);
    EXPECT_TRUE(IsFree(lock));
    // An explicit thread id names the holder, whichever thread gives it back.
    lock.LockRead(42);
    std::thread([&] { lock.UnlockRead(42); }).join();
    EXPECT_TRUE(IsFree(lock));
}

TEST(CSyncRWLockDeathTest, MisuseEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    using Call = void (CSyncRWLock::*)(std::uint32_t);
    // What thread 7 holds, if anything, and the call that misuses the lock.
    const std::tuple<Call, Call, std::uint32_t, const char*> misuses[] = {
        {nullptr, &CSyncRWLock::UnlockRead, 7, "read unlocked"},
        {&CSyncRWLock::LockRead, &CSyncRWLock::UnlockRead, 8, "read unlocked"},
        {nullptr, &CSyncRWLock::UnlockWrite, 7, "write unlocked"},
        {&CSyncRWLock::LockWrite, &CSyncRWLock::UnlockWrite, 8, "write unlocked"},
        {&CSyncRWLock::LockRead, &CSyncRWLock::LockWrite, 7,
         "write asked for by a thread that reads"},
    };
    for (const auto& [held, misuse, thread, message] : misuses) {
        CSyncRWLock lock;
        if (held != nullptr) {
            (lock.*held)(7);
        }
        EXPECT_DEATH((lock.*misuse)(thread), message);
    }
}

} // namespace
