// The cloud services the agent calls, as JSON-RPC 2.0 over the store's accounts and devices:
//   nexilo/user_info   getInfo          the account: email, firstname, lastname, fingerprint
//   nexilo/device_mgmt get_device_info  the device: display_name, device_id, app_id
//   nexilo/ping        ping             {"status": "ok"}; the ping's fields are recorded
// Every call must carry params.nexilo_source with the strings user_token, app_id and device_id;
// the token must name an account and the device must belong to it, or the reply is a JSON-RPC
// error, as a real service would give. Every call, good or broken, goes into the timeline.
#pragma once

#include "devkit/cloud/store.h"

#include <cstdint>
#include <string>

namespace devkit::cloud {

inline constexpr int kRpcParseError = -32700;
inline constexpr int kRpcInvalidRequest = -32600;
inline constexpr int kRpcMethodNotFound = -32601;
inline constexpr int kRpcInvalidParams = -32602;
inline constexpr int kRpcUnknownToken = -32001;
inline constexpr int kRpcUnknownDevice = -32002;

struct RpcCall {
    std::string service;
    std::string body;
    // The client library's request record fields, as it sent them (empty when not sent).
    std::string limit;
    std::string kind;
};

// The reply text: always one JSON-RPC response object.
std::string AnswerRpc(Store& store, const RpcCall& call);

// A printable excerpt of at most `limit` bytes of untrusted text, for records and messages:
// bytes outside printable ASCII are written as \xNN.
std::string Excerpt(const std::string& text, std::size_t limit);

} // namespace devkit::cloud
