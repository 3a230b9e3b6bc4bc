#include "cloud/request_processor.h"

#include "cloud/testing/fake_cloud_client.h"
#include "cloud/testing/request_processor_peer.h"
#include "platform/testing/latch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace nxp {
namespace {

using testing::ElementsAre;

class RequestProcessorTest : public testing::Test {
protected:
    std::shared_ptr<WorkItem> Item(std::function<void()> body) {
        auto item = std::make_shared<WorkItem>();
        item->handler = [body = std::move(body)](TaskType, IData*, void*) { body(); };
        return item;
    }
    std::shared_ptr<WorkItem> Recording(std::string name) {
        return Item([this, name] {
            std::lock_guard lock(m_mutex);
            m_ran.push_back(name);
        });
    }
    std::vector<std::string> Ran() {
        std::lock_guard lock(m_mutex);
        return m_ran;
    }

    RequestProcessor m_processor{[](const std::wstring&) {}};

private:
    std::mutex m_mutex;
    std::vector<std::string> m_ran;
};

TEST_F(RequestProcessorTest, WorkQueuedBeforeStopRunsInOrderBeforeStopReturns) {
    // The first item holds the worker until the stop is signalled, so five items sit in the
    // queue with the stop already requested.
    m_processor.PushTask(Item([this] {
        while (!RequestProcessorPeer::StopRequested(m_processor)) {
            std::this_thread::yield();
        }
    }));
    for (const char* name : {"1", "2", "3", "4"}) {
        m_processor.PushTask(Recording(name));
    }
    m_processor.PushTask(nullptr);
    m_processor.PushTask(Item([this] {
        Recording("5")->handler(TaskType::Register, nullptr, nullptr);
        // Queued during the drain: it runs too.
        m_processor.PushTask(Recording("6"));
    }));

    m_processor.Stop();
    EXPECT_THAT(Ran(), ElementsAre("1", "2", "3", "4", "5", "6"));

    m_processor.Stop(); // a second stop finds nothing to join
}

TEST_F(RequestProcessorTest, HandlerGetsItsItemAndTheItemDiesAfterItsRun) {
    struct Payload : IData {
        explicit Payload(bool& destroyed) : destroyed(destroyed) {}
        ~Payload() override { destroyed = true; }
        bool& destroyed;
    };
    bool destroyed = false;
    int context = 0;
    std::vector<std::string> seen;
    auto item = std::make_shared<WorkItem>();
    item->data = std::make_unique<Payload>(destroyed);
    item->type = TaskType::Register;
    item->context = &context;
    item->handler = [&](TaskType type, IData* data, void* given) {
        seen.push_back(type == TaskType::Register && data != nullptr && given == &context
                           ? "as queued"
                           : "changed");
    };
    m_processor.PushTask(std::move(item));
    cloud_testing::WaitForQueuedWork(m_processor);
    EXPECT_THAT(seen, ElementsAre("as queued"));
    EXPECT_TRUE(destroyed);
    m_processor.Stop();
}

TEST_F(RequestProcessorTest, StopOnTheWorkerRefusesWithADeadlockError) {
    std::errc refused{};
    m_processor.PushTask(Item([&] {
        try {
            m_processor.Stop();
        } catch (const std::system_error& error) {
            refused = static_cast<std::errc>(error.code().value());
        }
    }));
    cloud_testing::WaitForQueuedWork(m_processor);
    EXPECT_EQ(refused, std::errc::resource_deadlock_would_occur);
    m_processor.Stop();
}

TEST(RetiredProcessorTest, AStoppedProcessorIsKeptNotDestroyed) {
    struct CountingProcessor : RequestProcessor {
        explicit CountingProcessor(bool& destroyed)
            : RequestProcessor([](const std::wstring&) {}), destroyed(destroyed) {}
        ~CountingProcessor() override { destroyed = true; }
        bool& destroyed;
    };
    static bool destroyed = false;
    auto processor = std::make_unique<CountingProcessor>(destroyed);
    processor->Stop();
    RetireStoppedProcessor(std::move(processor));
    EXPECT_FALSE(destroyed);
}

} // namespace
} // namespace nxp
