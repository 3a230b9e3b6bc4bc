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

bool LockIsFree(CSyncRWLock& lock) {
    CSyncRWLock::State state = lock.Snapshot();
    return state.activeReaders == 0 && state.activeWriters == 0;
}

TEST(EventTest, DeliversOncePerSubscriberInOrderAndAThrowingOneLeavesTheReadSideTaken) {
    SynchronyzedObjectContainer<ITestEvents*> subscribers;
    CapturingEvent event(&subscribers);
    std::vector<std::string> journal;
    event.Fire(L"nobody", 1);
    Recorder a(journal, "a");
    Recorder b(journal, "b");
    EXPECT_TRUE(subscribers.Add(&b));
    EXPECT_TRUE(subscribers.Add(&a));
    EXPECT_FALSE(subscribers.Add(&b));
    event.Fire(L"name", 2);
    EXPECT_TRUE(subscribers.Remove(&b));
    EXPECT_FALSE(subscribers.Remove(&b));
    event.Fire(L"name", 3);
    EXPECT_EQ(journal, (std::vector<std::string>{"b2", "a2", "a3"}));
    EXPECT_TRUE(LockIsFree(subscribers));

    EXPECT_THROW(event.Fire(L"name", 0), std::runtime_error);
    EXPECT_EQ(subscribers.Snapshot().activeReaders, 1);
    ASSERT_NE(event.m_record, nullptr);
    event.End(&event.m_record); // the round that the exception cut short
    EXPECT_EQ(event.m_record, nullptr);
    EXPECT_TRUE(LockIsFree(subscribers));
}

} // namespace
