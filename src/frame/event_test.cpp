#include "frame/event.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
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

// Notes each call as its tag and the data; data 0 makes it throw.
struct Recorder final : ITestEvents {
    Recorder(std::vector<std::string>& journal, std::string tag) : m_journal(journal), m_tag(tag) {}
    void OnEvent(const wchar_t*, const int& data) override {
        if (data == 0) {
            throw std::runtime_error("subscriber failed");
        }
        m_journal.push_back(m_tag + std::to_string(data));
    }
    std::vector<std::string>& m_journal;
    std::string m_tag;
};

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

class EventTest : public ::testing::Test {
protected:
    bool LockIsFree() {
        CSyncRWLock::State state = m_subscribers.Snapshot();
        return state.activeReaders == 0 && state.activeWriters == 0;
    }

    SynchronyzedObjectContainer<ITestEvents*> m_subscribers;
    CapturingEvent m_event{&m_subscribers};
    std::vector<std::string> m_journal;
};

TEST_F(EventTest, DeliversOncePerSubscriberInTheOrderOfAdding) {
    m_event.Fire(L"nobody", 1);
    Recorder a(m_journal, "a");
    Recorder b(m_journal, "b");
    EXPECT_TRUE(m_subscribers.Add(&b));
    EXPECT_TRUE(m_subscribers.Add(&a));
    EXPECT_FALSE(m_subscribers.Add(&b));
    m_event.Fire(L"name", 2);
    EXPECT_TRUE(m_subscribers.Remove(&b));
    EXPECT_FALSE(m_subscribers.Remove(&b));
    m_event.Fire(L"name", 3);
    EXPECT_EQ(m_journal, (std::vector<std::string>{"b2", "a2", "a3"}));
    EXPECT_TRUE(LockIsFree());
}

TEST_F(EventTest, AThrowingSubscriberLeavesTheReadSideTaken) {
    Recorder thrower(m_journal, "t");
    ASSERT_TRUE(m_subscribers.Add(&thrower));
    EXPECT_THROW(m_event.Fire(L"name", 0), std::runtime_error);
    EXPECT_EQ(m_subscribers.Snapshot().activeReaders, 1);
    ASSERT_NE(m_event.m_record, nullptr);
    m_event.End(&m_event.m_record);
    EXPECT_EQ(m_event.m_record, nullptr);
    EXPECT_TRUE(LockIsFree());
}

} // namespace
