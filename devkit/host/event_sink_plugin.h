// The host's event sink plugin "evsink" (IDeviceDetectionEvents): records every call it gets.
//
// Record form: one JSON object a line, appended to the record file, e.g.
//   {"call":"SetUserData","user_token":"T","device_id":"D","app_id":"com.corvane.basicshield"}
// A null argument is recorded as null. The record holds the user token as given: it is a test
// record, not a product log.
//
// Contract: SetUserData returns 0 once the line is written, 31 (ERROR_GEN_FAILURE) when the
// record can't be written. Any thread may call; lines never interleave. The folder and file are
// made on the first call.
#pragma once

#include "nexilo/host_interfaces.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace devkit::host {

class EventSinkPlugin final : public IDeviceDetectionEvents {
public:
    explicit EventSinkPlugin(std::filesystem::path recordFile)
        : m_recordFile(std::move(recordFile)) {}
    EventSinkPlugin(const EventSinkPlugin&) = delete;
    EventSinkPlugin& operator=(const EventSinkPlugin&) = delete;

    void* QueryInterface(CvIid iid) override;
    std::uint32_t SetUserData(const wchar_t* userToken, const wchar_t* deviceId,
                              const wchar_t* appId) override;

    // Calls received so far.
    std::uint64_t Calls() const { return m_calls.load(); }

private:
    const std::filesystem::path m_recordFile;
    std::atomic<std::uint64_t> m_calls{0};
};

} // namespace devkit::host
