// The cost of one pushed message from the library's call of the handler to the topic's callback,
// beside its baseline in the same run: parsing the same text with plain jansson and reading the
// same members. The difference is the client's own share: the copy of the bytes, the records'
// strings and the lock around the callback.
#include "cloud/nexilo_push.h"
#include "cloud/testing/fake_cloud_client.h"

#include <benchmark/benchmark.h>
#include <jansson.h>

#include <cstdint>
#include <string>

namespace {

const std::string kNotification =
    R"({"app_fields": {"notification_id": "4f1c2a90-77b1-4c0e-9a51-1d2f3e4a5b6c",)"
    R"( "timestamp": 1700000000123, "notification_params": {"campaign": 163068,)"
    R"( "url": "https://example.invalid/cvipm/3467/163068/windows/page.html"}},)"
    R"( "user_fields": {"text": "Your protection is up to date."}})";

void BM_ParseWithJansson(benchmark::State& state) {
    for (auto _ : state) {
        json_error_t error;
        json_t* root = json_loadb(kNotification.data(), kNotification.size(), 0, &error);
        json_t* app = json_object_get(root, "app_fields");
        json_t* user = json_object_get(root, "user_fields");
        std::string id = json_string_value(json_object_get(app, "notification_id"));
        std::string text = json_string_value(json_object_get(user, "text"));
        json_int_t timestamp = json_integer_value(json_object_get(app, "timestamp"));
        json_t* params = json_incref(json_object_get(app, "notification_params"));
        benchmark::DoNotOptimize(id.size() + text.size() + timestamp);
        json_decref(params);
        json_decref(root);
    }
}
BENCHMARK(BM_ParseWithJansson);

void BM_PushedNotificationToCallback(benchmark::State& state) {
    cloud_testing::FakeCloudClient library;
    nxp::RequestProcessor processor([](const std::wstring&) {});
    {
        nxp::NexiloPush push(&processor, library.Loader());
        cv::Json source;
        source.Pack("{s:s, s:s, s:s}", "user_token", "T", "app_id", "A", "device_id", "D");
        push.Init(source, [](const std::wstring&) {});
        std::int64_t received = 0;
        push.RegisterTopic(
            nxp::kTopicNotifications,
            [&received](void* record) {
                const auto& message = *static_cast<nxp::NotificationMessage*>(record);
                received += static_cast<std::int64_t>(message.id.size() + message.text.size()) +
                            message.timestamp;
            },
            cv::Json());
        cloud_testing::WaitForQueuedWork(processor);
        const cloud_testing::Registration registration = library.Registrations().front();
        for (auto _ : state) {
            cloud_testing::FakeCloudClient::Deliver(registration, kNotification);
        }
        benchmark::DoNotOptimize(received);
        processor.Stop();
    }
}
BENCHMARK(BM_PushedNotificationToCallback);

} // namespace
