// A recording stand-in for the cloud client library's table, for the push client's tests, its
// fuzzer and its benchmark: it counts sessions and loads, records each registration as the
// library would copy it, can refuse or hold a registration, and delivers messages through the
// handlers that a registration gave it.
//
// One instance at a time (the table's functions are plain C functions that find it through a
// static pointer). Thread-safe: registrations arrive on the request processor's worker while the
// test reads on its own thread.
#pragma once

#include "cloud/cloud_client_table.h"
#include "cloud/nexilo_push.h"
#include "cloud/request_processor.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace cloud_testing {

struct Registration {
    std::string userToken;
    std::string appId;
    std::string deviceId;
    std::string targetAppId;
    std::string targetDeviceId;
    std::string type;
    std::string channel;
    cloud::CvzCallbacks callbacks{};
};

class FakeCloudClient {
public:
    FakeCloudClient();
    ~FakeCloudClient();
    FakeCloudClient(const FakeCloudClient&) = delete;
    FakeCloudClient& operator=(const FakeCloudClient&) = delete;

    // Set before use.
    bool loadable = true;
    std::int32_t initResult = 0;
    std::int32_t registerResult = 0;
    // Runs inside each registration, after it is recorded and before it returns: a test can hold
    // the library call there.
    std::function<void()> duringRegister;

    // A loader handing out this table (or nothing when not loadable), counting loads and unloads.
    nxp::CloudClientLoader Loader();

    std::vector<Registration> Registrations() const;
    // The calls in the order they came: "load", "init", "option 1=1", "register", "registered" (as
    // the registration returns), "uninit", "unload".
    std::vector<std::string> Calls() const;
    // Waits until `count` registrations were made (a generous time-out only fails a broken
    // build); false on the time-out.
    bool WaitForRegistrations(std::size_t count) const;

    // Hands `bytes` to the registration's message handler with its context, as the library's
    // delivery thread would.
    static void Deliver(const Registration& registration, std::string_view bytes);

private:
    static std::int32_t NEXILO_CALL Init(cloud::CvzSession* session);
    static std::int32_t NEXILO_CALL Uninit(cloud::CvzSession session);
    static std::int32_t NEXILO_CALL SetOption(cloud::CvzSession, std::int32_t option,
                                              std::int32_t value);
    static std::int32_t NEXILO_CALL Register(cloud::CvzSession, const cloud::CvzCredentials*,
                                             const cloud::CvzTarget*, const char* type,
                                             const char* channel, const cloud::CvzCallbacks*);
    void Note(std::string call);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Registration> m_registrations;
    std::vector<std::string> m_calls;
    cloud::CloudClientTable m_table{};
    int m_session = 0;
};

// Waits until the processor has run everything queued so far (its order makes a marker item the
// last to run).
void WaitForQueuedWork(nxp::RequestProcessor& processor);

} // namespace cloud_testing
