#include "frame/easy_eq.h"
#include "platform/error_codes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace {

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

class Gate {
public:
    void Open() {
        std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    void Pass() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

std::shared_ptr<EasyEQTask> MakeTask(std::function<void()> function) {
    auto task = std::make_shared<EasyEQTask>();
    task->m_function = std::move(function);
    return task;
}

class EasyEQTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_queue.Load(), 0u);
        ASSERT_NE(m_queue.Interface(), nullptr);
        ASSERT_EQ(m_queue.Interface()->Initialise(4), 0u);
    }

    EasyEQ m_queue;
};

TEST(EasyEQLoadTest, ScheduleWithoutAQueueFails) {
    EasyEQ queue;
    EXPECT_FALSE(queue.Schedule(L"x", MakeTask([] {}), -1, -1));
    queue.Stop();
}

TEST(EasyEQLoadTest, LoadFailuresGiveTheSystemsNumbers) {
    EasyEQ queue;
    EXPECT_EQ(queue.Load(L"nexilo_missing_hostcore.dll"), platform::kErrorModNotFound);
    EXPECT_EQ(queue.Interface(), nullptr);
    // A module without the factory exports.
    EXPECT_EQ(queue.Load(L"tracelog.dll"), platform::kErrorProcNotFound);
    EXPECT_EQ(queue.Interface(), nullptr);
    EXPECT_EQ(queue.QueryInterface(kIidEventQueue), nullptr);
}

TEST_F(EasyEQTest, AOneShotTaskLeavesTheTableAfterItRan) {
    std::atomic<int> runs{0};
    auto now = MakeTask([&] { ++runs; });
    auto later = MakeTask([&] { ++runs; });
    ASSERT_TRUE(m_queue.Schedule(L"now", now, -1, -1));
    ASSERT_TRUE(m_queue.Schedule(L"later", later, 1, 0));
    ASSERT_TRUE(WaitFor([&] { return runs == 2 && m_queue.TaskCount() == 0; }));
    EXPECT_FALSE(now->m_periodic);
    EXPECT_EQ(now->m_queue, m_queue.Interface());
    EXPECT_NE(now->m_id, 0u);
}

TEST_F(EasyEQTest, APeriodicTaskStaysUntilStopAndNothingRunsAfter) {
    std::atomic<int> runs{0};
    auto task = MakeTask([&] { ++runs; });
    ASSERT_TRUE(m_queue.Schedule(L"tick", task, 0, 1));
    ASSERT_TRUE(WaitFor([&] { return runs >= 3; }));
    EXPECT_EQ(m_queue.TaskCount(), 1u);
    EXPECT_TRUE(task->m_periodic);

    m_queue.Stop();
    int after = runs;
    EXPECT_EQ(m_queue.TaskCount(), 0u);
    EXPECT_EQ(task.use_count(), 1) << "the queue released both work items";
    EXPECT_TRUE(task->m_canceled);
    EXPECT_EQ(task->m_id, 0u);
    EXPECT_EQ(m_queue.Interface(), nullptr);
    EXPECT_EQ(runs, after);
}

TEST_F(EasyEQTest, StopTwiceAndScheduleAfterStopFailForGood) {
    m_queue.Stop();
    m_queue.Stop();
    EXPECT_FALSE(m_queue.Schedule(L"x", MakeTask([] {}), -1, -1));
    ASSERT_EQ(m_queue.Load(), 0u);
    auto task = MakeTask([] {});
    EXPECT_FALSE(m_queue.Schedule(L"x", task, -1, -1)) << "stopping stays set after a new load";
    EXPECT_EQ(task.use_count(), 1) << "the refused task stays with the caller";
    m_queue.Stop();
}

TEST_F(EasyEQTest, StopWaitsForARunningTask) {
    Gate entered;
    Gate release;
    std::atomic<bool> finished{false};
    auto task = MakeTask([&] {
        entered.Open();
        release.Pass();
        finished = true;
    });
    ASSERT_TRUE(m_queue.Schedule(L"slow", task, 0, 1));
    entered.Pass();
    std::atomic<bool> finishedWhenStopReturned{false};
    std::thread stopper([&] {
        m_queue.Stop();
        finishedWhenStopReturned = finished.load();
    });
    release.Open();
    stopper.join();
    EXPECT_TRUE(finishedWhenStopReturned);
    EXPECT_EQ(task.use_count(), 1);
}

TEST_F(EasyEQTest, StopCancelsATimerThatHasNotRun) {
    std::atomic<int> runs{0};
    auto task = MakeTask([&] { ++runs; });
    ASSERT_TRUE(m_queue.Schedule(L"hourly", task, 3600 * 1000, 3600 * 1000));
    m_queue.Stop();
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(task.use_count(), 1);
}

} // namespace
