// The "GlobalEventQueue" of the hostcore module, through its exports as a client sees it.
#include "devkit/common/testing/module_exports.h"
#include "nexilo/event_queue.h"
#include "nexilo/exports.h"
#include "platform/error_codes.h"
#include "platform/testing/latch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

namespace {

constexpr std::uint32_t kGenerousMs = 30000;
constexpr std::int32_t kHourMs = 3600 * 1000;

// A gate that threads wait at until another one opens it.
struct Gate {
    platform_testing::Latch open{1};
    void Open() { open.CountDown(); }
    void Pass() { open.Wait(); }
};

// What the queue did with the two items of one post.
struct Counters {
    std::atomic<int> runs{0};
    std::atomic<int> finished{0};
    std::atomic<int> released{0};
    // The work is complete: `finished` ran once, and both items were released.
    bool Completed() const { return finished == 1 && released == 2; }
};

class TestItem final : public EqWorkItem {
public:
    TestItem(Counters& counters, bool isFinished, std::function<void()> body = {})
        : m_counters(counters), m_isFinished(isFinished), m_body(std::move(body)) {}
    void* ScalarDeletingDestructor(std::uint32_t) override {
        ADD_FAILURE() << "the queue frees its items through Release only";
        return this;
    }
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
    ~TestItem() = default;
    Counters& m_counters;
    bool m_isFinished;
    std::function<void()> m_body;
};

class HostcoreTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_module.Missing(), "");
        m_queue = Make();
        ASSERT_NE(m_queue, nullptr);
        ASSERT_EQ(m_queue->Initialise(4), 0u);
    }
    void TearDown() override {
        if (m_queue != nullptr) {
            m_destroy(kGlobalEventQueueName, m_queue);
        }
    }

    IEventQueue* Make() {
        void* object = nullptr;
        return m_create(kGlobalEventQueueName, kIidEventQueue, &object) == 0
                   ? static_cast<IEventQueue*>(object)
                   : nullptr;
    }
    // Posts a run (with `body` inside it) and a finished item that count into `counters`.
    static std::uint32_t Post(IEventQueue* queue, Counters& counters, std::int32_t delay,
                              std::int32_t period, std::uint32_t* id,
                              std::function<void()> body = {}) {
        return queue->PostTimed(L"test", id, delay, period,
                                new TestItem(counters, false, std::move(body)),
                                new TestItem(counters, true), 0, 0);
    }

    devkit_testing::ModuleExports m_module{L"hostcore.dll"};
    CvCreateObjectFn m_create = m_module.Find<CvCreateObjectFn>(kCvCreateObjectName);
    CvDestroyObjectFn m_destroy = m_module.Find<CvDestroyObjectFn>(kCvDestroyObjectName);
    IEventQueue* m_queue = nullptr;
};

TEST_F(HostcoreTest, FactoryAnswersOnlyTheQueue) {
    void* object = &object;
    EXPECT_EQ(m_create(L"NoSuchObject", kIidEventQueue, &object), platform::kErrorNotFound);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(m_create(kGlobalEventQueueName, CvIid{{1, 2, 3, 4}}, &object),
              platform::kErrorNotFound);
    EXPECT_EQ(m_queue->QueryInterface(kIidCvBaseInterface), static_cast<void*>(m_queue));
}

TEST_F(HostcoreTest, OneShotRunsOnceAndItsIdStaysKnownUntilReleased) {
    Counters counters;
    std::uint32_t id = 0;
    ASSERT_EQ(m_queue->PostNow(L"now", &id, new TestItem(counters, false),
                               new TestItem(counters, true), 0, 0),
              0u);
    EXPECT_NE(id, 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(counters.runs, 1);
    EXPECT_TRUE(counters.Completed());
    EXPECT_EQ(m_queue->Wait(id, 0), 0u);
    EXPECT_EQ(m_queue->Cancel(id), 0u);
    EXPECT_EQ(m_queue->ReleaseId(id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 0), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->ReleaseId(id), platform::kErrorNotFound);
}

TEST_F(HostcoreTest, PeriodicRepeatsUntilCanceledAndCompletesOnceTheRunUnderWayEnds) {
    Counters counters;
    Gate thirdRun;
    Gate release;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, counters, 0, 1, &id,
                   [&] {
                       if (counters.runs == 3) {
                           thirdRun.Open();
                           release.Pass();
                       }
                   }),
              0u);
    thirdRun.Pass();
    ASSERT_EQ(m_queue->Cancel(id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 10), platform::kErrorTimeout);
    EXPECT_EQ(counters.finished, 0);
    release.Open();
    ASSERT_EQ(m_queue->Wait(id, kEqInfinite), 0u);
    EXPECT_EQ(counters.runs, 3);
    EXPECT_TRUE(counters.Completed());
    EXPECT_EQ(m_queue->Wait(id, 0), 0u) << "a complete work stays complete";
}

TEST_F(HostcoreTest, CancelOfAPendingTimerNeverRunsIt) {
    Counters counters;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, counters, kHourMs, 0, &id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 10), platform::kErrorTimeout);
    ASSERT_EQ(m_queue->Cancel(id), 0u);
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(counters.runs, 0);
    EXPECT_TRUE(counters.Completed());
}

TEST_F(HostcoreTest, WaitFromInsideItsOwnRunIsRefused) {
    Counters counters;
    Gate idKnown;
    std::uint32_t id = 0;
    std::atomic<std::uint32_t> inner{0};
    ASSERT_EQ(Post(m_queue, counters, 0, 0, &id,
                   [&] {
                       idKnown.Pass();
                       inner = m_queue->Wait(id, kEqInfinite);
                   }),
              0u);
    idKnown.Open();
    ASSERT_EQ(m_queue->Wait(id, kGenerousMs), 0u);
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
    EXPECT_EQ(counters.runs + counters.finished, 0);
    EXPECT_EQ(m_queue->Wait(12345, 0), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->Cancel(12345), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->ReleaseId(12345), platform::kErrorNotFound);
    EXPECT_EQ(m_queue->Initialise(-1), platform::kErrorInvalidParameter);
    EXPECT_EQ(m_queue->Initialise(2), 0u) << "may be called again";
}

TEST_F(HostcoreTest, CloseAndDestroyEndTheWorkOfTheirHandleOnly) {
    IEventQueue* other = Make();
    ASSERT_NE(other, nullptr);
    Counters closed, refused, accepted, destroyed;
    std::uint32_t closedId = 0;
    std::uint32_t id = 0;
    ASSERT_EQ(Post(m_queue, closed, kHourMs, 0, &closedId), 0u);
    ASSERT_EQ(m_queue->Close(), 0u);
    ASSERT_EQ(m_queue->Wait(closedId, kGenerousMs), 0u);
    EXPECT_EQ(closed.runs, 0);
    EXPECT_TRUE(closed.Completed());
    EXPECT_EQ(Post(m_queue, refused, 0, 0, &id), platform::kErrorInvalidHandle);
    EXPECT_EQ(refused.released, 2);
    EXPECT_EQ(refused.runs + refused.finished, 0);

    ASSERT_EQ(Post(other, accepted, 0, 0, &id), 0u);
    EXPECT_EQ(m_queue->Wait(id, 0), platform::kErrorNotFound) << "ids belong to their handle";
    ASSERT_EQ(other->Wait(id, kGenerousMs), 0u);
    EXPECT_EQ(accepted.runs, 1);
    ASSERT_EQ(Post(other, destroyed, kHourMs, 0, &id), 0u);
    m_destroy(kGlobalEventQueueName, other);
    EXPECT_EQ(destroyed.runs, 0);
    EXPECT_TRUE(destroyed.Completed());
}

} // namespace
