// The host's push commands: push-test registers a topic on a push client built into the host
// (the agent's own nxp::NexiloPush, linked statically) and prints every message that reaches
// its callback; push-send drops a message into the dev kit's push folder; push-wait waits until
// the run's push clients have received a number of messages.
//
// Contract: the clients live from their push-test until the commands end (PushClients' owner
// ends them before the agent's UnInit): the request processor is stopped first, then the clients
// are destroyed, which ends their library sessions. Callbacks run on the cloud library's
// delivery threads and print through the thread-safe console. The clients' own log lines go to
// standard error as "host: push: ...".
#pragma once

#include "cloud/nexilo_push.h"
#include "cloud/request_processor.h"
#include "devkit/host/console.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace devkit::host {

struct CommandContext;

class PushClients {
public:
    explicit PushClients(Console& console);
    ~PushClients();
    PushClients(const PushClients&) = delete;
    PushClients& operator=(const PushClients&) = delete;

    // A new client with the identity (user_token "push-test", appId, deviceId) and one topic,
    // registered before it returns. False when the client does not start.
    bool Start(std::int32_t topic, const std::string& appId, const std::string& deviceId);
    // Waits up to `seconds` until `count` messages have arrived in all; the number that has.
    std::size_t WaitForMessages(std::size_t count, long seconds);

private:
    void Received(std::int32_t topic, void* record);

    Console& m_console;
    nxp::RequestProcessor m_processor;
    std::vector<std::unique_ptr<nxp::NexiloPush>> m_clients;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::size_t m_received = 0;
};

std::string CheckPushTest(const std::vector<std::string>& operands);
bool RunPushTest(CommandContext& context, const std::vector<std::string>& operands);
std::string CheckPushSend(const std::vector<std::string>& operands);
bool RunPushSend(CommandContext& context, const std::vector<std::string>& operands);
std::string CheckPushWait(const std::vector<std::string>& operands);
bool RunPushWait(CommandContext& context, const std::vector<std::string>& operands);

} // namespace devkit::host
