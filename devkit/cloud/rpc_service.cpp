#include "devkit/cloud/rpc_service.h"

#include "devkit/cloud/json_ptr.h"

#include <cstdio>

namespace devkit::cloud {

namespace {

constexpr std::size_t kExcerptLimit = 512;

struct Outcome {
    JsonPtr result; // set on success
    int code = 0;   // the JSON-RPC error otherwise
    std::string message;
};

Outcome Fail(int code, std::string message) {
    return {nullptr, code, std::move(message)};
}

Outcome Succeed(json_t* result) {
    return {JsonPtr(result), 0, {}};
}

struct Identity {
    std::string userToken;
    std::string appId;
    std::string deviceId;
};

// The caller's identity, checked against the store: the account, and the device as one of its
// own.
Outcome CheckIdentity(const Store& store, json_t* params, Identity& identity,
                      std::optional<Account>& account, std::optional<Device>& device) {
    json_t* source = json_object_get(params, "nexilo_source");
    const auto token = StringMember(source, "user_token");
    const auto app = StringMember(source, "app_id");
    const auto deviceId = StringMember(source, "device_id");
    if (!token || !app || !deviceId) {
        return Fail(kRpcInvalidParams, "params.nexilo_source must hold the strings user_token, "
                                       "app_id and device_id");
    }
    identity = {*token, *app, *deviceId};
    account = store.FindAccount(*token);
    if (!account) {
        return Fail(kRpcUnknownToken, "unknown user token");
    }
    device = store.FindDevice(*deviceId);
    if (!device || device->userToken != *token) {
        return Fail(kRpcUnknownDevice, "unknown device for this account");
    }
    return {};
}

Outcome Dispatch(Store& store, const std::string& service, const std::string& method,
                 json_t* params) {
    const bool userInfo = service == "nexilo/user_info" && method == "getInfo";
    const bool deviceInfo = service == "nexilo/device_mgmt" && method == "get_device_info";
    const bool ping = service == "nexilo/ping" && method == "ping";
    if (!userInfo && !deviceInfo && !ping) {
        return Fail(kRpcMethodNotFound, "Method not found: " + service + "/" + method);
    }
    Identity identity;
    std::optional<Account> account;
    std::optional<Device> device;
    if (Outcome checked = CheckIdentity(store, params, identity, account, device); checked.code) {
        return checked;
    }
    if (userInfo) {
        return Succeed(json_pack("{s:s, s:s, s:s, s:s}", "email", account->email.c_str(),
                                 "firstname", account->firstname.c_str(), "lastname",
                                 account->lastname.c_str(), "fingerprint",
                                 account->fingerprint.c_str()));
    }
    if (deviceInfo) {
        return Succeed(json_pack("{s:s, s:s, s:s}", "display_name", device->displayName.c_str(),
                                 "device_id", device->deviceId.c_str(), "app_id",
                                 device->appId.c_str()));
    }
    return Succeed(json_pack("{s:s}", "status", "ok"));
}

std::string Reply(json_t* id, const Outcome& outcome) {
    JsonPtr reply(json_pack("{s:s, s:O}", "jsonrpc", "2.0", "id", id ? id : json_null()));
    if (outcome.result) {
        json_object_set(reply.get(), "result", outcome.result.get());
    } else {
        json_object_set_new(
            reply.get(), "error",
            json_pack("{s:i, s:s}", "code", outcome.code, "message", outcome.message.c_str()));
    }
    return DumpJson(reply.get());
}

} // namespace

std::string Excerpt(const std::string& text, std::size_t limit) {
    std::string result;
    for (std::size_t i = 0; i < text.size() && i < limit; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= 0x20 && byte < 0x7f && byte != '\\') {
            result += static_cast<char>(byte);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            result += escaped;
        }
    }
    if (text.size() > limit) {
        result += "...";
    }
    return result;
}

std::string AnswerRpc(Store& store, const RpcCall& call) {
    // The service comes from the address and may hold any bytes; JSON text must stay UTF-8.
    const std::string service = Excerpt(call.service, kExcerptLimit);
    JsonPtr request = ParseJson(call.body);
    json_t* id = json_object_get(request.get(), "id");
    const auto method = StringMember(request.get(), "method");
    json_t* params = json_object_get(request.get(), "params");

    Outcome outcome;
    if (!request) {
        outcome = Fail(kRpcParseError, "Parse error: the request is not JSON");
    } else if (!json_is_object(request.get()) ||
               StringMember(request.get(), "jsonrpc") != std::optional<std::string>("2.0") ||
               !method || !json_is_object(params)) {
        outcome = Fail(kRpcInvalidRequest, "Invalid Request: a JSON-RPC 2.0 object with a string "
                                           "\"method\" and an object \"params\" is expected");
    } else {
        outcome = Dispatch(store, service, *method, params);
    }
    const std::string reply = Reply(id, outcome);

    const bool wellFormed = outcome.code != kRpcParseError && outcome.code != kRpcInvalidRequest;
    const std::string kind = !wellFormed                                    ? "rejected"
                             : service == "nexilo/ping" && method == "ping" ? "ping"
                                                                            : "request";
    JsonPtr detail(json_pack("{s:s, s:s, s:s, s:s}", "service", service.c_str(), "method",
                             method.value_or("").c_str(), "limit",
                             Excerpt(call.limit, kExcerptLimit).c_str(), "request_kind",
                             Excerpt(call.kind, kExcerptLimit).c_str()));
    json_object_set_new(detail.get(), "request",
                        wellFormed ? json_incref(request.get())
                                   : json_string(Excerpt(call.body, kExcerptLimit).c_str()));
    json_object_set_new(detail.get(), "reply", json_loads(reply.c_str(), 0, nullptr));
    store.Record(kind, service + " " + method.value_or("(no method)"), DumpJson(detail.get()));
    return reply;
}

} // namespace devkit::cloud
