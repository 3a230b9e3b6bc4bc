#include "frame/event.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class ITestEvents {
public:
    virtual void OnEvent(const wchar_t* name, const int& data) = 0;

protected:
    ~ITestEvents() = default;
};

using TestEvent = Event<MemberFunction_2_args<ITestEvents, void, const wchar_t*, const int&>,
                        &ITestEvents::OnEvent>;

struct Recorder final : ITestEvents {
    explicit Recorder(std::vector<std::string>& journal, std::string tag)
        : m_journal(journal), m_tag(std::move(tag)) {}
    void OnEvent(const wchar_t*, const int& data) override {
        m_journal.push_back(m_tag + std::to_string(data));
        if (m_handler) {
            m_handler(data);
        }
    }
    std::vector<std::string>& m_journal;
    std::string m_tag;
    std::function<void(int)> m_handler;
};

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

class EventTest : public ::testing::Test {
protected:
    bool LockIsFree() {
        CSyncRWLock::State state = m_subscribers.Snapshot();
        return state.activeReaders == 0 && state.activeWriters == 0;
    }

    SynchronyzedObjectContainer<ITestEvents*> m_subscribers;
    TestEvent m_event{&m_subscribers};
    std::vector<std::string> m_journal;
};

TEST_F(EventTest, DeliversOncePerSubscriberInTheOrderOfAdding) {
    Recorder a(m_journal, "a");
    Recorder b(m_journal, "b");
    EXPECT_TRUE(m_subscribers.Add(&b));
    EXPECT_TRUE(m_subscribers.Add(&a));
    EXPECT_FALSE(m_subscribers.Add(&b));
    m_event.Fire(L"name", 1);
    EXPECT_EQ(m_journal, (std::vector<std::string>{"b1", "a1"}));

    EXPECT_TRUE(m_subscribers.Remove(&b));
    EXPECT_FALSE(m_subscribers.Remove(&b));
    m_event.Fire(L"name", 2);
    EXPECT_EQ(m_journal, (std::vector<std::string>{"b1", "a1", "a2"}));
    EXPECT_TRUE(LockIsFree());
    EXPECT_EQ(m_event.MemberPointer(), &ITestEvents::OnEvent);
}

TEST_F(EventTest, FiringWithoutSubscribersCallsNobodyAndLeavesTheLockFree) {
    m_event.Fire(L"name", 1);
    EXPECT_TRUE(m_journal.empty());
    EXPECT_TRUE(LockIsFree());
}

TEST_F(EventTest, AHandlerMayFireAgainWhileAWriterWaits) {
    Recorder nested(m_journal, "n");
    Recorder late(m_journal, "late");
    std::thread adder;
    nested.m_handler = [&](int data) {
        if (data != 1) {
            return;
        }
        adder = std::thread([&] { m_subscribers.Add(&late); });
        ASSERT_TRUE(WaitFor([&] { return m_subscribers.Snapshot().waitingWriters == 1; }));
        m_event.Fire(L"inner", 2); // read side again on this thread: must not block
    };
    ASSERT_TRUE(m_subscribers.Add(&nested));
    m_event.Fire(L"outer", 1);
    adder.join();
    EXPECT_EQ(m_journal, (std::vector<std::string>{"n1", "n2"}));
    m_event.Fire(L"after", 3);
    EXPECT_EQ(m_journal, (std::vector<std::string>{"n1", "n2", "n3", "late3"}));
    EXPECT_TRUE(LockIsFree());
}

// Keeps the round's record, so that a test can end a round that an exception cut short.
class CapturingEvent final : public TestEvent {
public:
    using TestEvent::TestEvent;
    bool Begin(void** record) override {
        bool result = TestEvent::Begin(record);
        m_record = *record;
        return result;
    }
    void* m_record = nullptr;
};

TEST_F(EventTest, AThrowingSubscriberLeavesTheReadSideTaken) {
    CapturingEvent event(&m_subscribers);
    Recorder thrower(m_journal, "t");
    thrower.m_handler = [](int) { throw std::runtime_error("subscriber failed"); };
    ASSERT_TRUE(m_subscribers.Add(&thrower));
    EXPECT_THROW(event.Fire(L"name", 1), std::runtime_error);
    EXPECT_EQ(m_subscribers.Snapshot().activeReaders, 1);
    ASSERT_NE(event.m_record, nullptr);
    event.End(&event.m_record);
    EXPECT_EQ(event.m_record, nullptr);
    EXPECT_TRUE(LockIsFree());
}

TEST_F(EventTest, RegisteringFromInsideAHandlerEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Recorder other(m_journal, "o");
            Recorder registering(m_journal, "r");
            registering.m_handler = [&](int) { m_subscribers.Add(&other); };
            m_subscribers.Add(&registering);
            m_event.Fire(L"name", 1);
        },
        "write asked for by a thread that reads");
}

} // namespace
