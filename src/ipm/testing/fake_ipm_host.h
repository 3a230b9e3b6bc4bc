// An owner for Ipm in tests: a settings plugin the test chooses, a log that records every line,
// the events fired, the identity T/A/D, and a push library the test chooses (none by default).
#pragma once

#include "diag/testing/recording_log_sink.h"
#include "ipm/ipm_host.h"

#include <string>
#include <vector>

namespace ipm_testing {

class FakeIpmHost final : public IIpmHost {
public:
    IHKSettings* IpmSettings() override { return settings; }
    logging::LogSink* IpmLog() override { return &log; }
    void IpmFire(const wchar_t* name, const cv::Value& data) override {
        fired.push_back(std::wstring(name) + L" " + data.ToString().GetString());
    }
    cv::Json IpmIdentitySource() override {
        cv::Json source;
        source.Parse(identity);
        return source;
    }
    nxp::CloudClientLoader IpmPushLoader() override { return pushLoader; }

    IHKSettings* settings = nullptr;
    diag_testing::RecordingLogSink log;
    std::vector<std::wstring> fired;
    std::string identity = R"({"user_token": "T", "app_id": "A", "device_id": "D"})";
    nxp::CloudClientLoader pushLoader{[] { return nullptr; }, [](cloud::CloudClientTable*) {}};
};

} // namespace ipm_testing
