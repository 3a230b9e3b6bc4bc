// The "GlobalEventQueue" of the hostcore module, through its exports as a client sees it.
#include "nexilo/event_queue.h"
#include "nexilo/exports.h"
#include "platform/error_codes.h"
#include "platform/module_loader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace {

constexpr std::uint32_t kGenerousMs = 30000;

// Counts its runs and releases; `body` runs inside Run.
struct Counters {
    std::atomic<int> runs{0};
    std::atomic<int> finished{0};
    std::atomic<int> released{0};
};

class TestItem final : public EqWorkItem {
public:
    TestItem(Counters& counters, bool isFinished, std::function<void()> body = {})
        : m_counters(counters), m_isFinished(isFinished), m_body(std::move(body)) {}
    void Release() override {
        ++m_counters.released;
        delete this;
    }
    void Run() override {
        ++(m_isFinished ? m_counters.finished : m_counters.runs);
        if (m_body) {
            m_body();
        }
    }

private:
    ~TestItem() override = default;
    Counters& m_counters;
    bool m_isFinished;
    std::function<void()> m_body;
};

// Waits for a condition that other threads make true; fails the test after a generous time.
bool WaitFor(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGenerousMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

// A gate that a run blocks on until the test opens it.
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

class HostcoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform::ModuleResult loaded = platform::LoadModule(L"hostcore.dll");
        ASSERT_TRUE(loaded.module) << loaded.error;
        m_module = std::move(loaded.module);
        m_create = reinterpret_cast<CvCreateObjectFn>(
            platform::FindExport(m_module.get(), kCvCreateObjectName).address);
        m_destroy = reinterpret_cast<CvDestroyObjectFn>(
            platform::FindExport(m_module.get(), kCvDestroyObjectName).address);
        ASSERT_NE(m_create, nullptr);
        ASSERT_NE(m_destroy, nullptr);
        m_queue = Make();
        ASSERT_NE(m_queue, nullptr);
        ASSERT_EQ(m_queue->Initialise(4), 0u);
    }

    void TearDown() override {
        if (m_queue != nullptr) {
            Destroy(m_queue);
        }
    }

    IEventQueue* Make() {
        void* object = nullptr;
        if (m_create(kGlobalEventQueueName, kIidEventQueue, &object) != 0) {
            return nullptr;
        }
        return static_cast<IEventQueue*>(object);
    }

    void Destroy(IEventQueue* queue) {
        m_destroy(kGlobalEventQueueName, static_cast<ICvBaseInterface*>(queue));
    }

    std::uint32_t Post(IEventQueue* queue, Counters& counters, std::int32_t delay,
                       std::int32_t period, std::uint32_t* id, std::function<void()> body = {}) {
        return queue->PostTimed(L"test", id, delay, period,
                                new TestItem(counters, false, std::move(body)),
                                new TestItem(counters, true), 0, 0);
    }

    platform::UniqueHModule m_module;
    CvCreateObjectFn m_create = nullptr;
    CvDestroyObjectFn m_destroy = nullptr;
    IEventQueue* m_queue = nullptr;
};

TEST_F(HostcoreTest, FactoryAnswersOnlyTheQueue) {
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(m_create(L"NoSuchObject", kIidEventQueue, &object), platform::kErrorNotFound);
    EXPECT_EQ(object, nullptr);
    CvIid other{{1, 2, 3, 4}};
    EXPECT_EQ(m_create(kGlobalEventQueueName, other, &object), platform::kErrorNotFound);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(m_queue->QueryInterface(kIidCvBaseInterface), static_cast<void*>(m_queue));
}

TEST_F(HostcoreTest, OneShotRunsOnceThenFinishesAndReleasesBoth) {
    Counters counters;
    std::uint32_t id = 0;
    ASSERT_EQ(m_queue->PostNow(L"now", &id, new TestItem(counters, false),
                               new TestItem(counters, true), 0, 0),
              0u);
    EXPECT_NE(id, 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(counters.runs, 1);
    EXPECT_EQ(counters.finished, 1);
    EXPECT_EQ(counters.released, 2);
    // The id stays known until it is given back.
    EXPECT_EQ(m_queue->Wait(id, 0), 0u);
    EXPECT_EQ(m_queue->Cancel(id), 0u);
    EXPECT_EQ(m_queue->ReleaseId(id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 0), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->ReleaseId(id), platform::kErrorNotFound);
}

TEST_F(HostcoreTest, PeriodicRepeatsUntilCanceledThenCompletesOnce) {
    Counters counters;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, counters, 0, 1, &id), 0u);
    ASSERT_TRUE(WaitFor([&] { return counters.runs >= 3; }));
    EXPECT_EQ(counters.finished, 0);
    ASSERT_EQ(m_queue->Cancel(id), 0u);
    ASSERT_EQ(m_queue->Wait(id, kEqInfinite), 0u);
    int runs = counters.runs;
    EXPECT_EQ(counters.finished, 1);
    EXPECT_EQ(counters.released, 2);
    // A second wait after completion answers at once, and no run has started since.
    EXPECT_EQ(m_queue->Wait(id, kEqInfinite), 0u);
    EXPECT_EQ(counters.runs, runs);
}

TEST_F(HostcoreTest, CancelOfAPendingTimerNeverRunsIt) {
    Counters counters;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, counters, 3600 * 1000, 0, &id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 10), platform::kErrorTimeout);
    ASSERT_EQ(m_queue->Cancel(id), 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(counters.runs, 0);
    EXPECT_EQ(counters.finished, 1);
    EXPECT_EQ(counters.released, 2);
}

TEST_F(HostcoreTest, CancelDuringARunWaitsForItsEnd) {
    Counters counters;
    Gate entered;
    Gate release;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, counters, 0, 1, &id,
                   [&] {
                       entered.Open();
                       release.Pass();
                   }),
              0u);
    entered.Pass();
    ASSERT_EQ(m_queue->Cancel(id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 10), platform::kErrorTimeout);
    EXPECT_EQ(counters.finished, 0);
    release.Open();
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(counters.runs, 1);
    EXPECT_EQ(counters.finished, 1);
    EXPECT_EQ(counters.released, 2);
}

TEST_F(HostcoreTest, WaitFromInsideItsOwnRunIsRefused) {
    Counters counters;
    std::atomic<std::uint32_t> id{0};
    std::atomic<std::uint32_t> inner{0};
    std::uint32_t posted = 0;
    Gate idKnown;
    ASSERT_EQ(Post(m_queue, counters, 0, 0, &posted,
                   [&] {
                       idKnown.Pass();
                       inner = m_queue->Wait(id, kEqInfinite);
                   }),
              0u);
    id = posted;
    idKnown.Open();
    ASSERT_EQ(m_queue->Wait(posted, kGenerousMs), 0u);
    EXPECT_EQ(inner, 1131u);
}

TEST_F(HostcoreTest, BadCallsAnswerErrorsAndFreeTheItems) {
    Counters counters;
    std::uint32_t id = 0;
    EXPECT_EQ(m_queue->PostNow(L"x", &id, nullptr, new TestItem(counters, true), 0, 0),
              platform::kErrorInvalidParameter);
    EXPECT_EQ(m_queue->PostNow(L"x", nullptr, new TestItem(counters, false),
                               new TestItem(counters, true), 0, 0),
              platform::kErrorInvalidParameter);
    EXPECT_EQ(counters.released, 3);
    EXPECT_EQ(m_queue->Wait(12345, 0), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->Cancel(12345), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->ReleaseId(12345), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->Initialise(-1), platform::kErrorInvalidParameter);
    EXPECT_EQ(m_queue->Initialise(4), 0u);
    EXPECT_EQ(m_queue->Initialise(2), 0u);
    EXPECT_EQ(counters.runs + counters.finished, 0);
}

TEST_F(HostcoreTest, CloseRefusesWorkOnThatHandleOnly) {
    IEventQueue* other = Make();
    ASSERT_NE(other, nullptr);
    Counters pending;
    std::uint32_t pendingId = 0;
    ASSERT_EQ(Post(m_queue, pending, 3600 * 1000, 0, &pendingId), 0u);

    ASSERT_EQ(m_queue->Close(), 0u);
    ASSERT_EQ(m_queue->Wait(pendingId, kGenerousMs), 0u) << "close cancels pending work";
    EXPECT_EQ(pending.runs, 0);
    EXPECT_EQ(pending.finished, 1);

    Counters refused;
    std::uint32_t id = 0;
    EXPECT_EQ(Post(m_queue, refused, 0, 0, &id), platform::kErrorInvalidHandle);
    EXPECT_EQ(refused.released, 2);
    EXPECT_EQ(refused.runs + refused.finished, 0);

    Counters accepted;
    ASSERT_EQ(Post(other, accepted, 0, 0, &id), 0u);
    // Ids belong to their handle.
    EXPECT_EQ(m_queue->Wait(id, 0), platform::kErrorNotFound);
    ASSERT_EQ(other->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(accepted.runs, 1);
    Destroy(other);
}

TEST_F(HostcoreTest, DestroyCompletesEveryWorkOfTheHandle) {
    IEventQueue* queue = Make();
    ASSERT_NE(queue, nullptr);
    Counters timer;
    Counters periodic;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(queue, timer, 3600 * 1000, 0, &id), 0u);
    ASSERT_EQ(Post(queue, periodic, 0, 1, &id), 0u);
    ASSERT_TRUE(WaitFor([&] { return periodic.runs >= 1; }));
    Destroy(queue);
    EXPECT_EQ(timer.finished, 1);
    EXPECT_EQ(timer.released, 2);
    EXPECT_EQ(periodic.finished, 1);
    EXPECT_EQ(periodic.released, 2);
}

TEST_F(HostcoreTest, ExceptionsOfItemsDoNotStopTheWorkers) {
    Counters throwing;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, throwing, 0, 0, &id, [] { throw 42; }), 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(throwing.finished, 1);
    Counters next;
    ASSERT_EQ(Post(m_queue, next, 0, 0, &id), 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(next.runs, 1);
}

} // namespace
