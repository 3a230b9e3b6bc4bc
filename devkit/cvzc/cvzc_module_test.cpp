// The dev kit's cloud client library as the agent meets it: loaded as a module, called through
// its exports.
#include "cloud/cloud_client_api.h"
#include "devkit/common/testing/module_exports.h"
#include "devkit/cvzc/testing/cvzc_module.h"
#include "platform/testing/scratch_home.h"

#include "devkit/cvzc/push_folder.h"
#include "platform/testing/latch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

using namespace cloud;
using testing::HasSubstr;

class CvzcModuleTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_cvzc.exports.Missing(), ""); }

    platform_testing::ScratchHome m_home;
    devkit_testing::CvzcModule m_cvzc;
    devkit_testing::ModuleExports& m_module = m_cvzc.exports;
    CvzInitFn m_init = m_cvzc.init;
    CvzUninitFn m_uninit = m_cvzc.uninit;
    CvzAskFn m_ask = m_cvzc.ask;
    CvzFreeResponseFn m_free = m_cvzc.free;
    CvzSetOptionFn m_setOption = m_cvzc.setOption;
    NexiloRegisterFn m_register = m_cvzc.enroll;
};

TEST_F(CvzcModuleTest, OffersEveryExportAndTheVariantLacksOnlyRegister) {
    devkit_testing::ModuleExports variant(L"cvzc.dll", "noregister");
    for (const char* name : kCloudClientExports) {
        EXPECT_NE(m_module.Find<void*>(name), nullptr) << name;
        const bool expected = std::string(name) != "nexilo_register";
        EXPECT_EQ(variant.Find<void*>(name) != nullptr, expected) << name;
    }
    EXPECT_EQ(variant.Missing(), "missing: nexilo_register");
}

TEST_F(CvzcModuleTest, AskRepliesAsScriptedAndEveryCallIsRecorded) {
    m_home.Write("cloud/script.json",
                 R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"x": 1}}}}})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    EXPECT_EQ(m_setOption(session, kOptionApplied, kOptionAppliedValue), 0);
    const std::string text = R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1})";
    const CvzRequest request{"nexilo/user_info", kAskLimit, kAskKind, text.data(),
                             static_cast<std::uint32_t>(text.size())};
    CvzReply* reply = nullptr;
    ASSERT_EQ(m_ask(session, &request, &reply), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->kind, kReplyKindJson);
    EXPECT_EQ(std::string(reply->data, reply->size),
              R"({"jsonrpc":"2.0","id":1,"result":{"x":1}})");
    m_free(reply);
    const CvzCredentials credentials{"T", "A", "D"};
    const CvzTarget target{"all", "all"};
    const CvzCallbacks callbacks{nullptr, nullptr, nullptr};
    EXPECT_EQ(m_register(session, &credentials, &target, "notification", kPushChannel, &callbacks),
              0);
    EXPECT_EQ(m_uninit(session), 0);

    const std::string recorded = m_home.Read("cloud/requests.jsonl");
    EXPECT_THAT(recorded, HasSubstr(R"("service":"nexilo/user_info")"));
    EXPECT_THAT(recorded, HasSubstr(R"("limit":5000,"kind":1)"));
    EXPECT_THAT(recorded, HasSubstr(R"(\"method\": \"getInfo\")"));
    EXPECT_THAT(recorded, HasSubstr(R"("register":{"type":"notification","channel":"secure_web")"));
}

TEST_F(CvzcModuleTest, InitFollowsTheScriptedResultAndHandle) {
    m_home.Write("cloud/script.json", R"({"init": {"code": 7, "handle": true}})");
    CvzSession session = nullptr;
    EXPECT_EQ(m_init(&session), 7);
    EXPECT_EQ(m_uninit(session), 0);

    m_home.Write("cloud/script.json", R"({"init": {"code": 0, "handle": false}})");
    EXPECT_EQ(m_init(&session), 0);
    EXPECT_EQ(session, nullptr);
}

TEST_F(CvzcModuleTest, ForeignHandlesAndBadArgumentsAreRefused) {
    int foreign = 0;
    const CvzRequest request{"svc", kAskLimit, kAskKind, "{}", 2};
    CvzReply* reply = nullptr;
    EXPECT_EQ(m_ask(&foreign, &request, &reply), 6);
    EXPECT_EQ(m_uninit(&foreign), 6);
    EXPECT_EQ(m_setOption(nullptr, 1, 1), 6);
    EXPECT_EQ(m_init(nullptr), 87);

    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    EXPECT_EQ(m_ask(session, nullptr, &reply), 87);
    EXPECT_EQ(m_register(session, nullptr, nullptr, "event", kPushChannel, nullptr), 87);
    EXPECT_EQ(m_uninit(session), 0);
    EXPECT_EQ(m_uninit(session), 6) << "a session ends once";
}

// A registration's context in the tests: what reached its handler, and on which thread.
struct Inbox {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> messages;
    std::thread::id thread;
    std::function<void()> during; // runs inside the handler

    static void NEXILO_CALL Handler(const CvzMessage* message, void* context) {
        auto& inbox = *static_cast<Inbox*>(context);
        if (inbox.during) {
            inbox.during();
        }
        std::lock_guard lock(inbox.mutex);
        inbox.messages.emplace_back(message->data, message->size);
        inbox.thread = std::this_thread::get_id();
        inbox.changed.notify_all();
    }
    CvzCallbacks Callbacks() { return {nullptr, &Inbox::Handler, this}; }
    std::vector<std::string> WaitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(60), [&] { return messages.size() >= count; });
        return messages;
    }
};

class CvzcPushTest : public CvzcModuleTest {
protected:
    void Drop(const std::string& file) {
        std::string error;
        ASSERT_TRUE(devkit::cvzc::DropPushFile(m_home.Path() / "push", file, error)) << error;
    }
    std::int32_t Register(CvzSession session, std::string type, std::string app, std::string device,
                          Inbox& inbox) {
        const CvzCredentials credentials{"T", "A", "D"};
        const CvzTarget target{app.c_str(), device.c_str()};
        const CvzCallbacks callbacks = inbox.Callbacks();
        const std::int32_t code =
            m_register(session, &credentials, &target, type.c_str(), kPushChannel, &callbacks);
        // The library must have copied what it keeps.
        for (std::string* text : {&type, &app, &device}) {
            text->assign(text->size(), '#');
        }
        return code;
    }
};

TEST_F(CvzcPushTest, DroppedMessagesReachEveryMatchingRegistrationOnceOnTheLibrarysThread) {
    Drop(R"({"type": "notification", "text": "pushed before the session"})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    Inbox notifications;
    Inbox alsoNotifications;
    Inbox events;
    Inbox otherDevice;
    ASSERT_EQ(Register(session, "notification", "all", "all", notifications), 0);
    ASSERT_EQ(Register(session, "notification", "all", "all", alsoNotifications), 0);
    ASSERT_EQ(Register(session, "event", "A", "D", events), 0);
    ASSERT_EQ(Register(session, "event", "A", "D2", otherDevice), 0);

    Drop(R"({"type": "notification", "message": {"user_fields": {"text": "hi"}}})");
    EXPECT_THAT(notifications.WaitFor(1), testing::ElementsAre(R"({"user_fields":{"text":"hi"}})"));
    EXPECT_THAT(alsoNotifications.WaitFor(1), testing::SizeIs(1));
    Drop(R"({"type": "event", "target": {"app_id": "A", "device_id": "D"}, "text": "e1"})");
    EXPECT_THAT(events.WaitFor(1), testing::ElementsAre("e1"));
    // The event was found in a later pass than the notification, so a second delivery of the
    // notification would have shown by now.
    EXPECT_THAT(notifications.WaitFor(1), testing::SizeIs(1));
    EXPECT_NE(events.thread, std::this_thread::get_id());
    EXPECT_EQ(m_uninit(session), 0);
    EXPECT_THAT(otherDevice.WaitFor(0), testing::IsEmpty());
}

TEST_F(CvzcPushTest, UninitWaitsForARunningHandlerAndRefusesToRunInsideOne) {
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    Inbox inbox;
    platform_testing::Latch entered(1);
    platform_testing::Latch release(1);
    std::int32_t fromHandler = 0;
    std::vector<std::string> order;
    std::mutex orderMutex;
    inbox.during = [&] {
        fromHandler = m_uninit(session);
        entered.CountDown();
        release.Wait();
        std::lock_guard lock(orderMutex);
        order.push_back("handler finished");
    };
    ASSERT_EQ(Register(session, "notification", "all", "all", inbox), 0);
    Drop(R"({"type": "notification", "text": "x"})");
    entered.Wait();
    std::thread ending([&] {
        EXPECT_EQ(m_uninit(session), 0);
        std::lock_guard lock(orderMutex);
        order.push_back("uninit returned");
    });
    release.CountDown();
    ending.join();
    EXPECT_EQ(fromHandler, 1131);
    EXPECT_THAT(order, testing::ElementsAre("handler finished", "uninit returned"));
}

TEST_F(CvzcPushTest, TheScriptCanRefuseRegistrations) {
    m_home.Write("cloud/script.json", R"({"register": {"code": 5}})");
    CvzSession session = nullptr;
    ASSERT_EQ(m_init(&session), 0);
    Inbox inbox;
    EXPECT_EQ(Register(session, "notification", "all", "all", inbox), 5);
    EXPECT_EQ(m_uninit(session), 0);
    EXPECT_THAT(m_home.Read("cloud/requests.jsonl"), HasSubstr(R"("code":5)"));
}

} // namespace
