// nxp::CloudComm: one JSON-RPC 2.0 call at a time through the cloud client library.
//
// Owns a library session and the identity that goes into every request, sealed at rest. Ask
// builds the envelope (jsonrpc, method, id, params with nexilo_source first), blocks in the
// library until it answers, and hands back the reply's error member (isError true) or its result
// (a non-object result wrapped as {"result": value}).
// Contract: Init once, before Ask; it returns 0 or 31 (kErrorGenFailure). Ask returns 0 when a
// reply was parsed, the library's own code when the transport failed, -1 (kFailureWithoutCode)
// otherwise; isError is false on every failure.
// The request text and the clear identity live only during one Ask, in memory scrubbed when
// freed; a reply that was parsed is zeroed before it goes back to the library.
// Threads: the caller serialises Init, SetSourceField and Ask (the agent holds its lock); only
// the request counter is atomic. The library's table is read from `tableSource` on each use and
// must outlive the object; the agent keeps its use of the shared table for that long.
#pragma once

#include "cloud/cloud_client_table.h"
#include "diag/nxp_log.h"
#include "foundation/json.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nxp {

class CloudCommImpl;

class CloudComm {
public:
    // Where the library's own lines go (Log's sink, diag/nxp_log.h).
    using LogCallback = logging::Log::Sink;
    // Where the library's table is read on each use.
    using TableSource = std::function<cloud::CloudClientTable*()>;

    explicit CloudComm(TableSource tableSource);
    CloudComm(const CloudComm&) = delete;
    CloudComm& operator=(const CloudComm&) = delete;

    // Ends the library session if there is one and the table is still there.
    virtual ~CloudComm();
    // Takes the identity from `source` (an object of three strings: user_token, app_id,
    // device_id) and opens a library session.
    virtual std::uint32_t Init(const cv::Json& source, LogCallback logCallback);
    // Adds or replaces a member of every request's nexilo_source. Returns 0.
    virtual std::uint32_t SetSourceField(const std::wstring& key, const std::wstring& value);
    virtual std::uint32_t Ask(const std::wstring& service, const std::wstring& method,
                              const cv::Json& params, cv::Json& result, bool* isError,
                              const cv::Json& destination);

private:
    std::unique_ptr<CloudCommImpl> m_impl;
};

} // namespace nxp
