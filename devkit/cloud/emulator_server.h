// The emulator's HTTP face on loopback (routes in README.md): the JSON-RPC services, the push
// sessions and postings, the telemetry sink and the inspection page and JSON.
//
// A broken request gets an error status with a JSON {"error": ...} body and never stops the
// server: bodies are bounded (a POST must say its length, at most `maxBody`), handlers catch
// what they throw, and every refusal goes into the timeline.
#pragma once

#include "devkit/cloud/push_hub.h"
#include "devkit/cloud/store.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace httplib {
class Server;
}

namespace devkit::cloud {

struct ServerLimits {
    std::size_t maxBody = 256 * 1024;
    std::size_t threads = 24; // above PushLimits::maxSessions, so waiters never take them all
};

// True for the addresses the emulator may listen on: 127.0.0.0/8, ::1 and "localhost".
bool IsLoopbackHost(const std::string& host);

class EmulatorServer {
public:
    EmulatorServer(Store& store, PushHub& hub, ServerLimits limits = {});
    ~EmulatorServer();
    EmulatorServer(const EmulatorServer&) = delete;
    EmulatorServer& operator=(const EmulatorServer&) = delete;

    // Binds to host:port, port 0 picking a free one. False with a readable `error` for a host
    // that is not loopback or a port that cannot be had.
    bool Bind(const std::string& host, int port, std::string& error);
    int Port() const { return m_port; }
    // "http://127.0.0.1:PORT"
    std::string Url() const;

    // Serves until Stop; false when serving could not start.
    bool Serve();
    // True while Serve accepts connections.
    bool Serving() const;
    // Ends every push session (so no waiter holds the server up) and stops serving; any thread.
    void Stop();

private:
    void Route();

    Store& m_store;
    PushHub& m_hub;
    const ServerLimits m_limits;
    std::unique_ptr<httplib::Server> m_server;
    std::string m_host;
    int m_port = 0;
    std::atomic<bool> m_entered{false};
    std::atomic<bool> m_stopping{false};
};

} // namespace devkit::cloud
