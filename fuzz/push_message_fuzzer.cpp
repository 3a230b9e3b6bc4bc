// Arbitrary bytes as a pushed message, through each of the push client's message handlers as
// the cloud library would call them. Beyond staying clean under the sanitizers, a message must
// reach a callback exactly when it has the members the handlers require, and an event must go
// to the commands' topic exactly when it is named "command".
#include "cloud/nexilo_push.h"
#include "cloud/testing/fake_cloud_client.h"

#include <jansson.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

struct Client {
    cloud_testing::FakeCloudClient library;
    nxp::RequestProcessor processor{[](const std::wstring&) {}};
    nxp::NexiloPush push{&processor, library.Loader()};
    std::vector<cloud_testing::Registration> registrations;
    std::vector<std::int32_t> delivered; // topics, for the current input

    Client() {
        cv::Json source;
        source.Pack("{s:s, s:s, s:s}", "user_token", "T", "app_id", "A", "device_id", "D");
        push.Init(source, [](const std::wstring& line) { (void)line.size(); });
        for (std::int32_t topic :
             {nxp::kTopicNotifications, nxp::kTopicEvents, nxp::kTopicCommands}) {
            push.RegisterTopic(
                topic, [this, topic](void* record) { Received(topic, record); }, cv::Json());
        }
        cloud_testing::WaitForQueuedWork(processor);
        registrations = library.Registrations();
        if (registrations.size() != 2) {
            __builtin_trap();
        }
    }

    // Reads every field, so the sanitizers see any record that is not whole.
    void Received(std::int32_t topic, void* record) {
        std::size_t touched = 0;
        auto touch = [&touched](const cv::Json& params) {
            touched += params.Dump(cv::kJsonEncodeAny).size();
        };
        if (topic == nxp::kTopicNotifications) {
            const auto& m = *static_cast<nxp::NotificationMessage*>(record);
            touched += m.id.size() + m.text.size();
            touch(m.params);
        } else if (topic == nxp::kTopicCommands) {
            const auto& m = *static_cast<nxp::CommandMessage*>(record);
            touched += m.command.size() + m.command_id.size();
            touch(m.params);
        } else {
            const auto& m = *static_cast<nxp::EventMessage*>(record);
            touched += m.event.size() + m.app_id.size() + m.device_id.size();
            touch(m.params);
        }
        (void)touched;
        delivered.push_back(topic);
    }
};

// The topic that the handlers should deliver `bytes` to through the registration of `type`, or
// -1 for a drop, judged independently with the JSON library.
std::int32_t Expected(std::string_view bytes, bool notification) {
    json_error_t error;
    json_t* root = json_loadb(bytes.data(), bytes.size(), 0, &error);
    std::int32_t topic = -1;
    json_t* app = json_object_get(root, "app_fields");
    if (json_is_object(root) && app != nullptr) {
        if (notification) {
            topic = json_object_get(root, "user_fields") != nullptr ? nxp::kTopicNotifications : -1;
        } else if (json_object_get(app, "event_params") != nullptr) {
            json_t* event = json_object_get(app, "event");
            const bool command = json_is_string(event) && json_string_length(event) == 7 &&
                                 std::string_view(json_string_value(event), 7) == "command";
            topic = command ? nxp::kTopicCommands : nxp::kTopicEvents;
        }
    }
    json_decref(root);
    return topic;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Kept for the life of the process: its worker idles until the end.
    static Client* client = new Client();
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (std::size_t i = 0; i < client->registrations.size(); ++i) {
        const cloud_testing::Registration& registration = client->registrations[i];
        client->delivered.clear();
        cloud_testing::FakeCloudClient::Deliver(registration, bytes);
        const cloud::CvzMessage message{0, bytes.data(), static_cast<std::uint32_t>(size)};
        registration.callbacks.statusHandler(&message, registration.callbacks.context);
        const std::int32_t expected = Expected(bytes, registration.type == "notification");
        const bool right =
            expected < 0 ? client->delivered.empty()
                         : client->delivered.size() == 1 && client->delivered.front() == expected;
        if (!right) {
            __builtin_trap();
        }
    }
    return 0;
}
