#include "devkit/host/push_commands.h"

#include "devkit/common/devkit_home.h"
#include "devkit/cvzc/push_folder.h"
#include "devkit/host/commands.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/json_text.h"
#include "platform/utf8.h"

#include <chrono>
#include <optional>
#include <utility>

namespace devkit::host {

namespace {

constexpr long kMaxPushWaitSeconds = 3600;

const std::vector<std::pair<std::string, std::int32_t>>& TopicNames() {
    static const std::vector<std::pair<std::string, std::int32_t>> names = {
        {"event", nxp::kTopicEvents},
        {"notification", nxp::kTopicNotifications},
        {"command", nxp::kTopicCommands},
    };
    return names;
}

std::optional<std::int32_t> TopicOf(const std::string& name) {
    for (const auto& [known, topic] : TopicNames()) {
        if (name == known) {
            return topic;
        }
    }
    return std::nullopt;
}

std::string JsonText(const cv::Json& json) {
    return json.IsValid() ? json.Dump(cv::kJsonEncodeAny | cv::kJsonCompact) : "null";
}

// Whole numbers from 0 to `limit`, digits only.
bool ParseCount(const std::string& text, long limit, long& value) {
    if (text.empty() || text.size() > 9) {
        return false;
    }
    value = 0;
    for (char digit : text) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        value = value * 10 + (digit - '0');
    }
    return value <= limit;
}

// The message file's text and its problem, if any.
std::string ReadMessageFile(const std::string& path, std::string& text) {
    if (!ReadWholeFile(PathFromWide(platform::Utf8ToWide(path)), text)) {
        return "push-send: cannot read " + path;
    }
    const cvzc::ParsedPush parsed = cvzc::ParsePushFile(text);
    if (!parsed.message) {
        return "push-send: " + path + " is no message file (" + parsed.error + ")";
    }
    return {};
}

} // namespace

PushClients::PushClients(Console& console)
    : m_console(console), m_processor([&console](const std::wstring& line) {
          console.Error("push: " + platform::WideToUtf8(line));
      }) {}

PushClients::~PushClients() {
    // Registrations still queued run first; then no task can reach a client being destroyed.
    m_processor.Stop();
    m_clients.clear();
}

bool PushClients::Start(std::int32_t topic, const std::string& appId, const std::string& deviceId) {
    auto client = std::make_unique<nxp::NexiloPush>(&m_processor);
    cv::Json source;
    source.Pack("{s:s, s:s, s:s}", "user_token", "push-test", "app_id", appId.c_str(), "device_id",
                deviceId.c_str());
    Console& console = m_console;
    const std::uint32_t code = client->Init(source, [&console](const std::wstring& line) {
        console.Error("push: " + platform::WideToUtf8(line));
    });
    if (code != 0) {
        return false;
    }
    client->RegisterTopic(
        topic, [this, topic](void* record) { Received(topic, record); }, cv::Json());
    m_clients.push_back(std::move(client));

    // The processor runs in order: once a marker behind the registration has run, the library
    // has been asked, and a message dropped from now on reaches the client.
    struct Marker {
        std::mutex mutex;
        std::condition_variable ran;
        bool done = false;
    };
    auto marker = std::make_shared<Marker>();
    auto item = std::make_shared<nxp::WorkItem>();
    item->handler = [marker](nxp::TaskType, nxp::IData*, void*) {
        std::lock_guard lock(marker->mutex);
        marker->done = true;
        marker->ran.notify_all();
    };
    m_processor.PushTask(item);
    std::unique_lock lock(marker->mutex);
    marker->ran.wait(lock, [&] { return marker->done; });
    return true;
}

std::size_t PushClients::WaitForMessages(std::size_t count, long seconds) {
    std::unique_lock lock(m_mutex);
    m_arrived.wait_for(lock, std::chrono::seconds(seconds), [&] { return m_received >= count; });
    return m_received;
}

void PushClients::Received(std::int32_t topic, void* record) {
    std::string line;
    if (topic == nxp::kTopicNotifications) {
        const auto& message = *static_cast<nxp::NotificationMessage*>(record);
        line = "{\"push\":\"notification\",\"topic\":1,\"id\":" + JsonString(message.id) +
               ",\"text\":" + JsonString(message.text) + ",\"params\":" + JsonText(message.params) +
               ",\"timestamp\":" + std::to_string(message.timestamp) + "}";
    } else if (topic == nxp::kTopicCommands) {
        const auto& message = *static_cast<nxp::CommandMessage*>(record);
        line = "{\"push\":\"command\",\"topic\":2,\"command\":" + JsonString(message.command) +
               ",\"command_id\":" + JsonString(message.command_id) +
               ",\"params\":" + JsonText(message.params) +
               ",\"timestamp\":" + std::to_string(message.timestamp) + "}";
    } else {
        const auto& message = *static_cast<nxp::EventMessage*>(record);
        line = "{\"push\":\"event\",\"topic\":0,\"event\":" + JsonString(message.event) +
               ",\"params\":" + JsonText(message.params) +
               ",\"app_id\":" + JsonString(message.app_id) +
               ",\"device_id\":" + JsonString(message.device_id) +
               ",\"timestamp\":" + std::to_string(message.timestamp) + "}";
    }
    m_console.Line(line);
    std::lock_guard lock(m_mutex);
    ++m_received;
    m_arrived.notify_all();
}

std::string CheckPushTest(const std::vector<std::string>& operands) {
    if (!TopicOf(operands[0])) {
        return "push-test: TYPE must be event, notification or command";
    }
    return {};
}

bool RunPushTest(CommandContext& context, const std::vector<std::string>& operands) {
    const std::optional<std::int32_t> topic = TopicOf(operands[0]);
    if (!topic) {
        context.console.Error(CheckPushTest(operands));
        return false;
    }
    const bool started = context.push.Start(*topic, operands[1], operands[2]);
    context.console.Line("{\"command\":\"push-test\",\"type\":" + JsonString(operands[0]) +
                         ",\"topic\":" + std::to_string(*topic) + ",\"app_id\":" +
                         JsonString(operands[1]) + ",\"device_id\":" + JsonString(operands[2]) +
                         ",\"ok\":" + (started ? "true" : "false") + "}");
    if (!started) {
        context.console.Error("push-test: the push client did not start");
    }
    return started;
}

std::string CheckPushSend(const std::vector<std::string>& operands) {
    std::string text;
    return ReadMessageFile(operands[0], text);
}

bool RunPushSend(CommandContext& context, const std::vector<std::string>& operands) {
    std::string text;
    if (const std::string problem = ReadMessageFile(operands[0], text); !problem.empty()) {
        context.console.Error(problem);
        return false;
    }
    std::string error;
    const auto dropped = cvzc::DropPushFile(cvzc::PushFolder(), text, error);
    context.console.Line("{\"command\":\"push-send\",\"file\":" + JsonString(operands[0]) +
                         ",\"ok\":" + (dropped ? "true" : "false") + "}");
    if (!dropped) {
        context.console.Error("push-send: " + error);
    }
    return dropped.has_value();
}

std::string CheckPushWait(const std::vector<std::string>& operands) {
    long value = 0;
    if (!ParseCount(operands[0], 1000000, value)) {
        return "push-wait: COUNT must be a whole number from 0 to 1000000";
    }
    if (!ParseCount(operands[1], kMaxPushWaitSeconds, value)) {
        return "push-wait: SECONDS must be a whole number from 0 to " +
               std::to_string(kMaxPushWaitSeconds);
    }
    return {};
}

bool RunPushWait(CommandContext& context, const std::vector<std::string>& operands) {
    long count = 0;
    long seconds = 0;
    if (!ParseCount(operands[0], 1000000, count) ||
        !ParseCount(operands[1], kMaxPushWaitSeconds, seconds)) {
        context.console.Error(CheckPushWait(operands));
        return false;
    }
    const std::size_t received =
        context.push.WaitForMessages(static_cast<std::size_t>(count), seconds);
    context.console.Line("{\"command\":\"push-wait\",\"count\":" + std::to_string(count) +
                         ",\"received\":" + std::to_string(received) + "}");
    if (received < static_cast<std::size_t>(count)) {
        context.console.Error("push-wait: " + std::to_string(received) + " of " +
                              std::to_string(count) + " messages arrived in " +
                              std::to_string(seconds) + " s");
        return false;
    }
    return true;
}

} // namespace devkit::host
