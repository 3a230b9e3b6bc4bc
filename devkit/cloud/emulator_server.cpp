#include "devkit/cloud/emulator_server.h"

#include "devkit/cloud/inspection.h"
#include "devkit/cloud/json_ptr.h"
#include "devkit/cloud/rpc_service.h"
#include "devkit/cloud/telemetry_sink.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <thread>

namespace devkit::cloud {

namespace {

constexpr const char* kJson = "application/json";
constexpr std::size_t kPathExcerpt = 200;

void SendError(httplib::Response& response, int status, const std::string& message) {
    JsonPtr body(json_pack("{s:s}", "error", message.c_str()));
    response.status = status;
    response.set_content(DumpJson(body.get()), kJson);
}

// A decimal of the query, or `fallback` when it is missing or no number.
std::int64_t QueryNumber(const httplib::Request& request, const char* name, std::int64_t fallback) {
    if (!request.has_param(name)) {
        return fallback;
    }
    const std::string text = request.get_param_value(name);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : fallback;
}

std::int64_t SessionId(const httplib::Request& request) {
    const std::string text = request.matches[1];
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

} // namespace

bool IsLoopbackHost(const std::string& host) {
    if (host == "localhost" || host == "::1") {
        return true;
    }
    // A dotted quad whose first part is 127.
    int parts = 0;
    std::size_t start = 0;
    while (start <= host.size()) {
        const std::size_t end = std::min(host.find('.', start), host.size());
        int value = -1;
        const auto [stop, error] = std::from_chars(host.data() + start, host.data() + end, value);
        if (error != std::errc() || stop != host.data() + end || end == start || value > 255 ||
            (parts == 0 && value != 127)) {
            return false;
        }
        ++parts;
        start = end + 1;
    }
    return parts == 4;
}

EmulatorServer::EmulatorServer(Store& store, PushHub& hub, ServerLimits limits)
    : m_store(store), m_hub(hub), m_limits(limits), m_server(std::make_unique<httplib::Server>()) {
    const std::size_t threads = m_limits.threads;
    m_server->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    m_server->set_payload_max_length(m_limits.maxBody);
    // The library's default shares the port with any other listener (SO_REUSEPORT), so a second
    // emulator would quietly split the traffic; a taken port must be refused instead.
    m_server->set_socket_options([](int socket) {
        int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    Route();
}

EmulatorServer::~EmulatorServer() {
    Stop();
}

bool EmulatorServer::Bind(const std::string& host, int port, std::string& error) {
    if (!IsLoopbackHost(host)) {
        error = "refusing to listen on " + host +
                ": the emulator serves loopback only (127.0.0.1, ::1 or localhost)";
        return false;
    }
    if (port < 0 || port > 65535) {
        error = "no such port: " + std::to_string(port);
        return false;
    }
    const int bound = port == 0 ? m_server->bind_to_any_port(host)
                                : (m_server->bind_to_port(host, port) ? port : -1);
    if (bound <= 0) {
        error = "cannot listen on " + host + ":" + std::to_string(port) +
                (port == 0 ? "" : ": the port is taken or not allowed");
        return false;
    }
    m_host = host;
    m_port = bound;
    return true;
}

std::string EmulatorServer::Url() const {
    const std::string host = m_host.find(':') != std::string::npos ? "[" + m_host + "]" : m_host;
    return "http://" + host + ":" + std::to_string(m_port);
}

bool EmulatorServer::Serve() {
    m_entered = true;
    const bool served = !m_stopping && m_server->listen_after_bind();
    m_entered = false;
    return served || m_stopping;
}

bool EmulatorServer::Serving() const {
    return m_server->is_running();
}

void EmulatorServer::Stop() {
    m_stopping = true;
    m_hub.CloseAll();
    // Serve may be between its check and the start of listening; stopping before that would
    // be lost, so wait for it to be one or the other.
    while (m_entered && !m_server->is_running()) {
        std::this_thread::yield();
    }
    m_server->stop();
}

void EmulatorServer::Route() {
    httplib::Server& server = *m_server;

    // Bodies must come with their length so that none is read past the bound.
    server.set_pre_routing_handler([limit = m_limits.maxBody](const httplib::Request& request,
                                                              httplib::Response& response) {
        if (request.method != "POST") {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        if (!request.has_header("Content-Length")) {
            SendError(response, 411, "a request body needs a Content-Length");
        } else if (std::strtoull(request.get_header_value("Content-Length").c_str(), nullptr, 10) >
                   limit) {
            SendError(response, 413, "the body is larger than " + std::to_string(limit) + " bytes");
        } else {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        return httplib::Server::HandlerResponse::Handled;
    });

    server.Post(R"(/rpc/(.+))",
                [this](const httplib::Request& request, httplib::Response& response) {
                    const RpcCall call{request.matches[1], request.body,
                                       request.get_header_value("X-Cvz-Limit"),
                                       request.get_header_value("X-Cvz-Kind")};
                    response.set_content(AnswerRpc(m_store, call), kJson);
                });

    server.Post("/push/sessions",
                [this](const httplib::Request& request, httplib::Response& response) {
                    Registration registration;
                    std::string error;
                    if (!ParseRegistration(request.body, registration, error)) {
                        SendError(response, 400, error);
                        return;
                    }
                    const std::int64_t id = m_hub.Open(registration, error);
                    if (id == 0) {
                        SendError(response, 403, error);
                        return;
                    }
                    JsonPtr body(json_pack("{s:I}", "session", static_cast<json_int_t>(id)));
                    response.status = 201;
                    response.set_content(DumpJson(body.get()), kJson);
                });

    server.Get(R"(/push/sessions/(\d+))", [this](const httplib::Request& request,
                                                 httplib::Response& response) {
        const auto wait = std::chrono::milliseconds(QueryNumber(request, "wait_ms", 0));
        PushHub::Batch batch = m_hub.Take(SessionId(request), std::max(wait, {}));
        if (batch.unknown) {
            SendError(response, 404, "no such push session");
            return;
        }
        if (batch.busy) {
            SendError(response, 409, "the session already has a waiting request");
            return;
        }
        JsonPtr messages(json_array());
        for (const auto& text : batch.messages) {
            json_array_append_new(messages.get(), json_stringn(text.data(), text.size()));
        }
        JsonPtr body(
            json_pack("{s:o, s:b}", "messages", messages.release(), "closed", batch.closed));
        response.set_content(DumpJson(body.get()), kJson);
    });

    server.Delete(R"(/push/sessions/(\d+))",
                  [this](const httplib::Request& request, httplib::Response& response) {
                      if (!m_hub.Close(SessionId(request))) {
                          SendError(response, 404, "no such push session");
                          return;
                      }
                      response.set_content("{}", kJson);
                  });

    server.Post("/push", [this](const httplib::Request& request, httplib::Response& response) {
        PushMessage message;
        std::string error;
        if (!ParsePushMessage(request.body, message, error)) {
            SendError(response, 400, error);
            return;
        }
        const PushHub::Posted posted = m_hub.Post(message);
        JsonPtr body(json_pack("{s:I, s:I}", "queued_for",
                               static_cast<json_int_t>(posted.deliveredTo), "dropped",
                               static_cast<json_int_t>(posted.dropped)));
        response.set_content(DumpJson(body.get()), kJson);
    });

    server.Post("/telemetry", [this](const httplib::Request& request, httplib::Response& response) {
        std::string error;
        const std::int64_t seq = AcceptTelemetry(m_store, request.body, error);
        if (seq == 0) {
            SendError(response, 400, error);
            return;
        }
        JsonPtr body(json_pack("{s:I}", "seq", static_cast<json_int_t>(seq)));
        response.set_content(DumpJson(body.get()), kJson);
    });

    server.Get("/inspect", [this](const httplib::Request& request, httplib::Response& response) {
        const std::int64_t limit = QueryNumber(request, "limit", kInspectPageSize);
        const auto bounded = static_cast<std::size_t>(
            std::clamp<std::int64_t>(limit, 1, static_cast<std::int64_t>(kInspectPageSize)));
        response.set_content(InspectJson(m_store, QueryNumber(request, "after", 0), bounded),
                             kJson);
    });

    server.Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(InspectPage(), "text/html; charset=utf-8");
    });

    // Every refusal, the library's own (bad request lines, unknown routes) and the handlers',
    // goes into the timeline; the library's get a JSON body like the others.
    server.set_error_handler(httplib::Server::HandlerWithResponse(
        [this](const httplib::Request& request, httplib::Response& response) {
            const bool filled = response.body.empty();
            if (filled) {
                SendError(response, response.status,
                          response.status == 404 ? "no such route"
                                                 : "the request was refused (HTTP status " +
                                                       std::to_string(response.status) + ")");
            }
            m_store.Record("rejected",
                           Excerpt(request.method, kPathExcerpt) + " " +
                               Excerpt(request.path, kPathExcerpt) + " -> " +
                               std::to_string(response.status),
                           response.body);
            return filled ? httplib::Server::HandlerResponse::Handled
                          : httplib::Server::HandlerResponse::Unhandled;
        }));

    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr thrown) {
            std::string what = "unknown";
            try {
                std::rethrow_exception(thrown);
            } catch (const std::exception& exception) {
                what = exception.what();
            } catch (...) {
            }
            SendError(response, 500, "the emulator failed on this request: " + Excerpt(what, 200));
        });
}

} // namespace devkit::cloud
