// EasyEQ against the dev kit's hostcore, loaded for real.
#include "frame/easy_eq.h"

#include "frame/testing/easy_eq_peer.h"
#include "frame/testing/recording_event_queue.h"
#include "frame/testing/threads.h"
#include "platform/error_codes.h"
#include "platform/testing/latch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

std::shared_ptr<EasyEQTask> MakeTask(std::function<void()> function) {
    auto task = std::make_shared<EasyEQTask>();
    task->m_function = std::move(function);
    return task;
}

class EasyEQTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_queue.Load(), 0u);
        ASSERT_EQ(m_queue.Interface()->Initialise(4), 0u);
    }
    // Waits until the queue is done with the task: it ran, its items are released.
    void WaitDone(const EasyEQTask& task) {
        EXPECT_EQ(m_queue.Interface()->Wait(task.m_id, kEqInfinite), 0u);
    }

    EasyEQ m_queue;
};

TEST(EasyEQLoadTest, LoadFailuresGiveTheSystemsNumbersAndNothingIsScheduled) {
    EasyEQ queue;
    EXPECT_FALSE(queue.Schedule(L"x", MakeTask([] {}), -1, -1));
    EXPECT_EQ(queue.Load(L"nexilo_missing_hostcore.dll"), platform::kErrorModNotFound);
    EXPECT_EQ(queue.Interface(), nullptr);
    // A module without the factory exports.
    EXPECT_EQ(queue.Load(L"tracelog.dll"), platform::kErrorProcNotFound);
    EXPECT_EQ(queue.Interface(), nullptr);
}

// The host's queue promises no wait of its own: Stop must wait for each task itself before it
// closes, or the module could unload under a running timer.
TEST(EasyEQStopTest, CancelsThenWaitsThenReleasesEachTaskAndClosesLast) {
    frame_testing::RecordingEventQueue queue;
    EasyEQ easy;
    frame_testing::EasyEQPeer::Bind(easy, &queue);
    ASSERT_TRUE(easy.Schedule(L"ping", MakeTask([] {}), 15 * 60 * 1000, 3600 * 1000));
    easy.Stop();
    EXPECT_EQ(queue.calls, (std::vector<std::string>{"PostTimed ping 1", "Cancel 1", "Wait 1",
                                                     "ReleaseId 1", "Close"}));
    EXPECT_EQ(easy.Interface(), nullptr);
    EXPECT_EQ(easy.TaskCount(), 0u);
}

TEST_F(EasyEQTest, AOneShotTaskLeavesTheTableAfterItRan) {
    std::atomic<int> runs{0};
    auto now = MakeTask([&] { ++runs; });
    auto later = MakeTask([&] { ++runs; });
    ASSERT_TRUE(m_queue.Schedule(L"now", now, -1, -1));
    ASSERT_TRUE(m_queue.Schedule(L"later", later, 1, 0));
    WaitDone(*now);
    WaitDone(*later);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(m_queue.TaskCount(), 0u);
    EXPECT_FALSE(now->m_periodic);
    EXPECT_EQ(now->m_queue, m_queue.Interface());
}

TEST_F(EasyEQTest, APeriodicTaskStaysUntilStopAndStopWaitsForItsRun) {
    std::atomic<int> runs{0};
    std::atomic<bool> thirdEnded{false};
    platform_testing::Latch thirdStarted(1);
    platform_testing::Latch release(1);
    auto task = MakeTask([&] {
        if (++runs == 3) {
            thirdStarted.CountDown();
            release.Wait();
            thirdEnded = true;
        }
    });
    ASSERT_TRUE(m_queue.Schedule(L"tick", task, 0, 1));
    thirdStarted.Wait();
    EXPECT_EQ(m_queue.TaskCount(), 1u);
    EXPECT_TRUE(task->m_periodic);

    std::atomic<bool> endedWhenStopReturned{false};
    std::thread stopper([&] {
        m_queue.Stop();
        endedWhenStopReturned = thirdEnded.load();
    });
    // Stop has canceled the task and waits for the run under way.
    ASSERT_TRUE(frame_testing::WaitFor([&] { return task->m_canceled.load(); }));
    release.CountDown();
    stopper.join();
    EXPECT_TRUE(endedWhenStopReturned);
    EXPECT_EQ(runs, 3) << "no run started after the cancel";
    EXPECT_EQ(m_queue.TaskCount(), 0u);
    EXPECT_EQ(task.use_count(), 1) << "the queue released both work items";
    EXPECT_EQ(task->m_id, 0u);
    EXPECT_EQ(m_queue.Interface(), nullptr);
}

TEST_F(EasyEQTest, StopCancelsWaitingTimersAndStoppingStaysForGood) {
    std::atomic<int> runs{0};
    auto hourly = MakeTask([&] { ++runs; });
    ASSERT_TRUE(m_queue.Schedule(L"hourly", hourly, 3600 * 1000, 3600 * 1000));
    m_queue.Stop();
    m_queue.Stop();
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(hourly.use_count(), 1);
    EXPECT_FALSE(m_queue.Schedule(L"x", MakeTask([] {}), -1, -1));
    ASSERT_EQ(m_queue.Load(), 0u);
    auto task = MakeTask([] {});
    EXPECT_FALSE(m_queue.Schedule(L"x", task, -1, -1)) << "stopping stays set after a new load";
    EXPECT_EQ(task.use_count(), 1) << "the refused task stays with the caller";
    m_queue.Stop();
}

} // namespace
