// nxp::NexiloPush: asks the cloud client library for the messages the cloud pushes to this
// device and hands each one, parsed, to the callback registered for its topic.
//
// Topics: 0 events, 1 notifications, 2 commands (an event named "command"); any other number is
// kept like these but registers with an empty type and target and no handlers. A callback gets a
// pointer to the topic's record below, valid only during the call.
// Contract:
// - The client owns a private load of the library and a session of its own; Init loads both and
//   returns 0 even when the library is missing or refuses a session (the client then has no
//   library), 31 only for a source that is not an object of three strings.
// - RegisterTopic keeps the first callback of a topic and hands the library call to the request
//   processor's worker, so it never blocks on the network; the outcome only reaches the log. A
//   refused registration forgets the topic (a later RegisterTopic tries again) but keeps its
//   callback. UnregisterTopic forgets both; the library is not told.
// - Every malformed push is dropped with a log line; nothing reaches a callback for it.
// - The owner stops the processor before destroying the client, so no register task outlives it.
// Threads: any thread may register, unregister or ask the destination; the library's threads run
// the message handlers. One mutex guards the topics and callbacks and is held across a callback,
// so a callback must not call RegisterTopic or UnregisterTopic, and should return quickly.
#pragma once

#include "cloud/cloud_client_table.h"
#include "cloud/request_processor.h"
#include "diag/nxp_log.h"
#include "foundation/json.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nxp {

inline constexpr std::int32_t kTopicEvents = 0;
inline constexpr std::int32_t kTopicNotifications = 1;
inline constexpr std::int32_t kTopicCommands = 2;

struct NotificationMessage {
    std::string id;
    std::string text;
    cv::Json params;
    std::int64_t timestamp = 0;
};

struct CommandMessage {
    std::string command;
    std::string command_id;
    cv::Json params;
    std::int64_t timestamp = 0;
};

struct EventMessage {
    std::string event;
    cv::Json params;
    std::string app_id;
    std::string device_id;
    std::int64_t timestamp = 0;
};

// How a client gets its private copy of the library's table and gives it back. The default
// loads the library by its bare name; tests hand in a recording table.
struct CloudClientLoader {
    std::function<cloud::CloudClientTable*()> load;
    std::function<void(cloud::CloudClientTable*)> unload;
};
// Loads `module` (a bare name is looked for beside the executable, then the system's way).
CloudClientLoader ModuleCloudClientLoader(std::wstring module);
CloudClientLoader SystemCloudClientLoader();

class NexiloPushImpl;

class NexiloPush {
public:
    // Receives a pointer to the topic's record: EventMessage, NotificationMessage or
    // CommandMessage.
    using TopicCallback = std::function<void(void*)>;
    using LogCallback = logging::Log::Sink;

    // `processor` runs the register tasks; not owned, and must outlive every task it was given.
    explicit NexiloPush(RequestProcessor* processor,
                        CloudClientLoader loader = SystemCloudClientLoader());
    NexiloPush(const NexiloPush&) = delete;
    NexiloPush& operator=(const NexiloPush&) = delete;

    // Ends the library session and unloads the private table.
    virtual ~NexiloPush();
    // `source`: an object with the strings user_token, app_id and device_id. Returns 0 or 31.
    virtual std::uint32_t Init(const cv::Json& source, LogCallback logSink);
    // `filter` may hold an object whose strings app_id and device_id replace the own ones in
    // topic 0's target.
    virtual void RegisterTopic(std::int32_t topic, const TopicCallback& callback,
                               const cv::Json& filter);
    virtual void UnregisterTopic(std::int32_t topic);
    // A new object {"device_id": ..., "app_id": ...} of the stored identity.
    virtual cv::Json GetDestination();

private:
    std::unique_ptr<NexiloPushImpl> m_impl;
};

} // namespace nxp
