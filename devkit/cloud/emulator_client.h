// The dev kit's side of the emulator's HTTP routes (README.md): what the cloud client library
// stand-in calls when the dev kit home names an emulator, and what the event collector stand-in
// uses to hand over its events. Each call makes its own connection, so one client may be used
// from several threads. Failures come back as Windows error numbers with a readable reason.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace devkit::cloud {

struct ClientResult {
    std::int32_t code = 0; // 0, or the failure as a Windows error number
    std::string text;      // the body on success
    std::string error;     // why, on failure
};

struct PushCredentials {
    std::string userToken;
    std::string appId;
    std::string deviceId;
};

class EmulatorClient {
public:
    // `url` as the emulator writes it: "http://127.0.0.1:PORT".
    explicit EmulatorClient(std::string url);

    // One JSON-RPC request to `service`; the text is the reply.
    ClientResult Ask(const std::string& service, std::int32_t limit, std::int32_t kind,
                     const std::string& body) const;

    // Opens a push session; the text is the session's id.
    ClientResult OpenPushSession(const PushCredentials& credentials, const std::string& targetApp,
                                 const std::string& targetDevice, const std::string& type,
                                 const std::string& channel) const;

    struct Poll {
        ClientResult result;
        std::vector<std::string> messages;
        bool closed = false;
    };
    // Waits up to `waitMs` for the session's messages.
    Poll PollPushSession(const std::string& session, int waitMs) const;
    ClientResult ClosePushSession(const std::string& session) const;

    // POSTs a JSON body to a route ("/telemetry", "/push"); the text is the answer's body.
    ClientResult Post(const std::string& path, const std::string& body) const;
    // GETs a route ("/inspect?after=3"); the text is the answer's body.
    ClientResult Get(const std::string& path) const;

private:
    std::string m_url;
};

} // namespace devkit::cloud
