// Test helpers of the diagnostics tests: a temporary log file fed by the dev kit's logging
// module while a test holds the logger.
#pragma once

#include "diag/log_binding.h"
#include "platform/testing/temp_dir.h"
#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace logging::testing {

inline std::vector<std::string> ReadLines(const std::wstring& path) {
    std::string utf8 = platform::WideToUtf8(path);
    std::ifstream in(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())),
                     std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The text of a line after its date, time, thread and level: "....Function: message".
inline std::string Tail(const std::string& line) {
    std::size_t at = 0;
    for (int field = 0; field < 4 && at != std::string::npos; ++field) {
        at = line.find_first_not_of(' ', at);
        at = at == std::string::npos ? at : line.find(' ', at);
    }
    at = at == std::string::npos ? at : line.find_first_not_of(' ', at);
    return at == std::string::npos ? std::string() : line.substr(at);
}

// Holds the logger for its lifetime with the module writing to a fresh temporary file.
class HeldLog {
public:
    HeldLog() : m_path(m_dir.File(L"test.log")) {
        CLogDLL* log = m_handle.Acquire();
        EXPECT_NE(log, nullptr);
        EXPECT_NE(log->m_module, nullptr) << "the dev kit's tracelog beside the tests";
        if (log != nullptr && log->LogSetPath != nullptr) {
            log->LogSetPath(m_path.c_str());
        }
    }

    std::vector<std::string> Lines() const { return ReadLines(m_path); }
    const std::wstring& Path() const { return m_path; }
    CLogDLL* Log() const { return m_handle.get(); }

private:
    platform::testing::TempDir m_dir;
    std::wstring m_path;
    LogHandle m_handle;
};

} // namespace logging::testing
