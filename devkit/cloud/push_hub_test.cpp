#include "devkit/cloud/push_hub.h"

#include "devkit/cloud/testing/seeded_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

namespace {

using namespace devkit::cloud;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

Registration Listening(const std::string& type, const std::string& app, const std::string& device) {
    return {"T1", "A", "D1", type, "secure_web", app, device};
}

TEST(PushHubTest, AMessageReachesEveryMatchingSessionOnce) {
    struct Row {
        Registration registration;
        PushMessage message;
        bool delivered;
    };
    const Row rows[] = {
        {Listening("notification", "all", "all"), {"notification", "all", "all", ""}, true},
        {Listening("notification", "all", "all"), {"notification", "A", "D1", ""}, true},
        {Listening("event", "A", "D1"), {"event", "all", "all", ""}, true},
        {Listening("event", "A", "D1"), {"event", "A", "D1", ""}, true},
        {Listening("event", "A", "D1"), {"event", "A", "all", ""}, true},
        {Listening("event", "A", "D1"), {"event", "A", "D2", ""}, false},
        {Listening("event", "A", "D1"), {"event", "B", "D1", ""}, false},
        {Listening("event", "A", "D1"), {"notification", "A", "D1", ""}, false},
        {Listening("event", "A", "D1"), {"command", "A", "D1", ""}, true},
        {Listening("notification", "all", "all"), {"command", "all", "all", ""}, false},
    };
    for (const Row& row : rows) {
        auto store = devkit_testing::SeededStore();
        PushHub hub(*store);
        std::string error;
        const auto id = hub.Open(row.registration, error);
        ASSERT_NE(id, 0) << error;
        PushMessage message = row.message;
        message.text = R"({"app_fields":{}})";
        const std::string name = row.registration.type + " " + row.registration.targetAppId + "/" +
                                 row.registration.targetDeviceId + " <- " + message.type + " " +
                                 message.targetAppId + "/" + message.targetDeviceId;
        EXPECT_EQ(hub.Post(message).deliveredTo, row.delivered ? 1u : 0u) << name;
        EXPECT_EQ(hub.Take(id, 0ms).messages.size(), row.delivered ? 1u : 0u) << name;
        EXPECT_TRUE(hub.Take(id, 0ms).messages.empty()) << name << ": delivered once";
    }
}

TEST(PushHubTest, AWaiterWakesForAMessagePostedLaterAndEverythingIsRecorded) {
    auto store = devkit_testing::SeededStore();
    PushHub hub(*store);
    std::string error;
    const auto first = hub.Open(Listening("notification", "all", "all"), error);
    const auto second = hub.Open(Listening("notification", "all", "all"), error);
    auto waiter = std::async(std::launch::async, [&] { return hub.Take(first, 60s); });
    EXPECT_EQ(hub.Post({"notification", "all", "all", R"({"n":1})"}).deliveredTo, 2u);
    EXPECT_THAT(waiter.get().messages, ElementsAre(R"({"n":1})"));
    EXPECT_THAT(hub.Take(second, 0ms).messages, ElementsAre(R"({"n":1})"));
    EXPECT_TRUE(hub.Close(first));
    EXPECT_FALSE(hub.Close(first)) << "a session ends once";
    EXPECT_TRUE(hub.Take(first, 0ms).closed) << "its client learns that it ended";
    EXPECT_TRUE(hub.Take(first, 0ms).unknown) << "and then it is gone";
    EXPECT_EQ(hub.Post({"notification", "all", "all", "{}"}).deliveredTo, 1u)
        << "a closed session gets nothing";
    EXPECT_EQ(devkit_testing::Kinds(*store),
              "register,register,push,delivery,delivery,unregister,push");
}

TEST(PushHubTest, RefusesStrangersAndKeepsItsBounds) {
    auto store = devkit_testing::SeededStore();
    PushHub hub(*store, {2, 1, 60s});
    std::string error;
    Registration stranger = Listening("event", "A", "D1");
    stranger.userToken = "nobody";
    EXPECT_EQ(hub.Open(stranger, error), 0);
    EXPECT_EQ(error, "unknown user token");
    Registration otherChannel = Listening("event", "A", "D1");
    otherChannel.channel = "plain";
    EXPECT_EQ(hub.Open(otherChannel, error), 0);
    EXPECT_THAT(error, HasSubstr("unknown channel"));

    const auto first = hub.Open(Listening("event", "A", "D1"), error);
    const auto second = hub.Open(Listening("event", "A", "D1"), error);
    ASSERT_NE(second, 0);
    EXPECT_EQ(hub.Open(Listening("event", "A", "D1"), error), 0);
    EXPECT_THAT(error, HasSubstr("too many push sessions (at most 2)"));

    EXPECT_EQ(hub.Post({"event", "all", "all", "{}"}).deliveredTo, 2u);
    const auto full = hub.Post({"event", "all", "all", "{}"});
    EXPECT_EQ(full.deliveredTo, 0u);
    EXPECT_EQ(full.dropped, 2u);
    EXPECT_EQ(hub.Take(first, 0ms).messages.size(), 1u);

    // Ended sessions that no client comes back for count for nothing and are forgotten, oldest
    // first, beyond the bound.
    hub.Close(first);
    hub.Close(second);
    const auto third = hub.Open(Listening("event", "A", "D1"), error);
    const auto fourth = hub.Open(Listening("event", "A", "D1"), error);
    ASSERT_NE(fourth, 0) << error;
    hub.Close(third);
    hub.Close(fourth);
    EXPECT_TRUE(hub.Take(first, 0ms).unknown);
    EXPECT_TRUE(hub.Take(second, 0ms).unknown);
    EXPECT_TRUE(hub.Take(third, 0ms).closed);
    EXPECT_TRUE(hub.Take(fourth, 0ms).closed);
}

TEST(PushHubTest, StoppingWakesWaitersAndRefusesNewSessions) {
    auto store = devkit_testing::SeededStore();
    PushHub hub(*store);
    std::string error;
    const auto id = hub.Open(Listening("event", "A", "D1"), error);
    auto waiter = std::async(std::launch::async, [&] { return hub.Take(id, 60s); });
    hub.CloseAll();
    const PushHub::Batch batch = waiter.get();
    // Whether the waiter began before or after the stop, it ends at once and learns it.
    EXPECT_TRUE(batch.closed || batch.unknown);
    EXPECT_EQ(hub.Open(Listening("event", "A", "D1"), error), 0);
    EXPECT_EQ(error, "the emulator is stopping");
}

TEST(PushHubTest, WireFormsAreCheckedWithReadableReasons) {
    Registration registration;
    std::string error;
    EXPECT_TRUE(ParseRegistration(
        R"({"credentials": {"user_token": "T", "app_id": "A", "device_id": "D"},
            "target": {"app_id": "all", "device_id": "all"}, "type": "notification",
            "channel": "secure_web"})",
        registration, error));
    EXPECT_EQ(registration.targetDeviceId, "all");
    EXPECT_FALSE(ParseRegistration(R"({"credentials": {}})", registration, error));
    EXPECT_THAT(error, HasSubstr("a registration needs credentials"));

    PushMessage message;
    EXPECT_TRUE(ParsePushMessage(R"({"type": "command", "message": {"a": 1}})", message, error));
    EXPECT_EQ(message.targetAppId, "all") << "no target is everyone";
    EXPECT_EQ(message.text, R"({"a":1})");
    const std::pair<const char*, const char*> bad[] = {
        {R"({"type": "alert", "message": {}})", "\"notification\", \"event\" or \"command\""},
        {R"({"type": "event", "message": "text"})", "the JSON object to deliver"},
        {R"({"type": "event", "message": {}, "target": {"app_id": "A"}})", "app_id and device_id"},
        {"not json", "a push needs \"type\""},
    };
    for (const auto& [body, reason] : bad) {
        EXPECT_FALSE(ParsePushMessage(body, message, error)) << body;
        EXPECT_THAT(error, HasSubstr(reason)) << body;
    }
}

} // namespace
