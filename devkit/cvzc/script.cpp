#include "devkit/cvzc/script.h"

#include <jansson.h>

#include <utility>

namespace devkit::cvzc {

namespace {

json_t* Root(void* root) {
    return static_cast<json_t*>(root);
}

std::string DumpCompact(json_t* value) {
    char* text = json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY);
    std::string result = text ? text : "null";
    free(text);
    return result;
}

// The reply envelope around `member`, echoing the request's id when it has one.
std::string Envelope(const char* name, json_t* member, const std::string& requestText) {
    json_t* reply = json_object();
    json_object_set_new(reply, "jsonrpc", json_string("2.0"));
    json_error_t error;
    json_t* request = json_loadb(requestText.data(), requestText.size(), 0, &error);
    json_t* id = request ? json_object_get(request, "id") : nullptr;
    json_object_set(reply, "id", id ? id : json_null());
    json_object_set(reply, name, member);
    std::string text = DumpCompact(reply);
    json_decref(request);
    json_decref(reply);
    return text;
}

} // namespace

Script::Script(Script&& other) noexcept
    : m_root(std::exchange(other.m_root, nullptr)), m_error(std::move(other.m_error)) {}

Script& Script::operator=(Script&& other) noexcept {
    if (this != &other) {
        json_decref(Root(m_root));
        m_root = std::exchange(other.m_root, nullptr);
        m_error = std::move(other.m_error);
    }
    return *this;
}

Script::~Script() {
    json_decref(Root(m_root));
}

Script Script::Parse(const std::string& text) {
    Script script;
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        script.m_root = json_object();
        return script;
    }
    json_error_t error;
    json_t* root = json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, &error);
    if (!root) {
        script.m_error = "line " + std::to_string(error.line) + ", column " +
                         std::to_string(error.column) + ": " + error.text;
        return script;
    }
    if (!json_is_object(root)) {
        json_decref(root);
        script.m_error = "the script must be a JSON object";
        return script;
    }
    json_t* services = json_object_get(root, "services");
    if (services && !json_is_object(services)) {
        json_decref(root);
        script.m_error = "\"services\" must be an object of services";
        return script;
    }
    script.m_root = root;
    return script;
}

InitBehaviour Script::Init() const {
    InitBehaviour behaviour;
    json_t* init = m_root ? json_object_get(Root(m_root), "init") : nullptr;
    if (json_is_object(init)) {
        if (json_t* code = json_object_get(init, "code"); json_is_integer(code)) {
            behaviour.code = static_cast<std::int32_t>(json_integer_value(code));
        }
        if (json_t* handle = json_object_get(init, "handle"); json_is_boolean(handle)) {
            behaviour.handle = json_is_true(handle);
        }
    }
    return behaviour;
}

std::int32_t Script::RegisterCode() const {
    if (!m_root) {
        return kCodeBadScript;
    }
    json_t* entry = json_object_get(Root(m_root), "register");
    json_t* code = json_is_object(entry) ? json_object_get(entry, "code") : nullptr;
    return json_is_integer(code) ? static_cast<std::int32_t>(json_integer_value(code)) : 0;
}

Answer Script::Decide(const std::string& service, const std::string& method,
                      const std::string& requestText) const {
    Answer answer;
    if (!m_root) {
        answer.kind = Answer::Kind::TransportError;
        answer.code = kCodeBadScript;
        return answer;
    }
    json_t* services = json_object_get(Root(m_root), "services");
    json_t* methods = services ? json_object_get(services, service.c_str()) : nullptr;
    json_t* entry = json_is_object(methods) ? json_object_get(methods, method.c_str()) : nullptr;
    if (!entry && json_is_object(methods)) {
        entry = json_object_get(methods, "*");
    }
    if (!json_is_object(entry)) {
        json_t* error = json_pack("{s:i, s:s++}", "code", -32601, "message",
                                  "Method not found: ", service.c_str(), ("/" + method).c_str());
        answer.text = Envelope("error", error, requestText);
        json_decref(error);
        return answer;
    }
    if (json_t* code = json_object_get(entry, "transport_error"); json_is_integer(code)) {
        answer.kind = Answer::Kind::TransportError;
        answer.code = static_cast<std::int32_t>(json_integer_value(code));
        return answer;
    }
    if (json_is_true(json_object_get(entry, "no_reply"))) {
        answer.kind = Answer::Kind::NoReply;
        return answer;
    }
    if (json_t* kind = json_object_get(entry, "kind"); json_is_integer(kind)) {
        answer.replyKind = static_cast<std::uint32_t>(json_integer_value(kind));
    }
    if (json_t* raw = json_object_get(entry, "raw"); json_is_string(raw)) {
        answer.text.assign(json_string_value(raw), json_string_length(raw));
    } else if (json_t* error = json_object_get(entry, "error")) {
        answer.text = Envelope("error", error, requestText);
    } else if (json_t* result = json_object_get(entry, "result")) {
        answer.text = Envelope("result", result, requestText);
    } else {
        answer.text = Envelope("result", json_null(), requestText);
    }
    return answer;
}

std::optional<std::string> MethodOf(const std::string& requestText) {
    json_error_t error;
    json_t* request = json_loadb(requestText.data(), requestText.size(), 0, &error);
    json_t* method = request ? json_object_get(request, "method") : nullptr;
    std::optional<std::string> result;
    if (json_is_string(method)) {
        result.emplace(json_string_value(method), json_string_length(method));
    }
    json_decref(request);
    return result;
}

} // namespace devkit::cvzc
