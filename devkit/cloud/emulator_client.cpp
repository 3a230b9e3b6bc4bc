#include "devkit/cloud/emulator_client.h"

#include "devkit/cloud/json_ptr.h"
#include "platform/error_codes.h"

#include <httplib.h>

namespace devkit::cloud {

namespace {

constexpr const char* kJson = "application/json";
// A poll waits on the server; the connection must outlast the longest wait.
constexpr int kReadTimeoutSeconds = 60;

std::int32_t Code(platform::ErrorCode code) {
    return static_cast<std::int32_t>(code);
}

httplib::Client Connect(const std::string& url) {
    httplib::Client client(url);
    client.set_connection_timeout(5);
    client.set_read_timeout(kReadTimeoutSeconds);
    client.set_keep_alive(false);
    return client;
}

// Judges an answer: a transport failure, an answer of another status than `expected`, or the
// body.
ClientResult Judge(const httplib::Result& answer, const std::string& what, int expected) {
    ClientResult result;
    if (!answer) {
        const httplib::Error error = answer.error();
        result.code =
            Code(error == httplib::Error::Connection          ? platform::kErrorConnectionRefused
                 : error == httplib::Error::ConnectionTimeout ? platform::kErrorTimeout
                                                              : platform::kErrorGenFailure);
        result.error = what + ": cannot reach the emulator (" + httplib::to_string(error) + ")";
        return result;
    }
    if (answer->status != expected) {
        JsonPtr body = ParseJson(answer->body);
        result.code = Code(answer->status == 404   ? platform::kErrorNotFound
                           : answer->status == 403 ? platform::kErrorAccessDenied
                                                   : platform::kErrorInvalidData);
        result.error = what + ": the emulator answered " + std::to_string(answer->status) + " " +
                       StringMember(body.get(), "error").value_or(answer->body);
        return result;
    }
    result.text = answer->body;
    return result;
}

} // namespace

EmulatorClient::EmulatorClient(std::string url) : m_url(std::move(url)) {}

ClientResult EmulatorClient::Ask(const std::string& service, std::int32_t limit, std::int32_t kind,
                                 const std::string& body) const {
    auto client = Connect(m_url);
    const httplib::Headers headers{{"X-Cvz-Limit", std::to_string(limit)},
                                   {"X-Cvz-Kind", std::to_string(kind)}};
    return Judge(client.Post(("/rpc/" + service).c_str(), headers, body, kJson), "ask " + service,
                 200);
}

ClientResult EmulatorClient::OpenPushSession(const PushCredentials& credentials,
                                             const std::string& targetApp,
                                             const std::string& targetDevice,
                                             const std::string& type,
                                             const std::string& channel) const {
    JsonPtr request(
        json_pack("{s:{s:s, s:s, s:s}, s:{s:s, s:s}, s:s, s:s}", "credentials", "user_token",
                  credentials.userToken.c_str(), "app_id", credentials.appId.c_str(), "device_id",
                  credentials.deviceId.c_str(), "target", "app_id", targetApp.c_str(), "device_id",
                  targetDevice.c_str(), "type", type.c_str(), "channel", channel.c_str()));
    if (!request) {
        return {Code(platform::kErrorInvalidParameter), {}, "register: the texts must be UTF-8"};
    }
    auto client = Connect(m_url);
    ClientResult result =
        Judge(client.Post("/push/sessions", DumpJson(request.get()), kJson), "register", 201);
    if (result.code == 0) {
        JsonPtr answer = ParseJson(result.text);
        json_t* session = json_object_get(answer.get(), "session");
        if (!json_is_integer(session)) {
            return {Code(platform::kErrorInvalidData), {}, "register: the answer names no session"};
        }
        result.text = std::to_string(json_integer_value(session));
    }
    return result;
}

EmulatorClient::Poll EmulatorClient::PollPushSession(const std::string& session, int waitMs) const {
    Poll poll;
    auto client = Connect(m_url);
    const std::string path = "/push/sessions/" + session + "?wait_ms=" + std::to_string(waitMs);
    poll.result = Judge(client.Get(path.c_str()), "push session " + session, 200);
    if (poll.result.code != 0) {
        return poll;
    }
    JsonPtr answer = ParseJson(poll.result.text);
    json_t* messages = json_object_get(answer.get(), "messages");
    std::size_t index = 0;
    json_t* message = nullptr;
    json_array_foreach(messages, index, message) {
        if (json_is_string(message)) {
            poll.messages.emplace_back(json_string_value(message), json_string_length(message));
        }
    }
    poll.closed = json_is_true(json_object_get(answer.get(), "closed"));
    return poll;
}

ClientResult EmulatorClient::ClosePushSession(const std::string& session) const {
    auto client = Connect(m_url);
    return Judge(client.Delete(("/push/sessions/" + session).c_str()), "close push session", 200);
}

ClientResult EmulatorClient::Post(const std::string& path, const std::string& body) const {
    auto client = Connect(m_url);
    return Judge(client.Post(path.c_str(), body, kJson), "post " + path, 200);
}

ClientResult EmulatorClient::Get(const std::string& path) const {
    auto client = Connect(m_url);
    return Judge(client.Get(path.c_str()), "get " + path, 200);
}

} // namespace devkit::cloud
