// Holding the logger in a test, with the dev kit's logging module writing to a temporary file.
#pragma once

#include "diag/log_binding.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"
#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace diag_testing {

// The lines of a log file the module wrote, by its wide path.
inline std::vector<std::string> ReadLogLines(const std::wstring& path) {
    const std::string utf8 = platform::WideToUtf8(path);
    return platform_testing::ReadLines(
        std::filesystem::path(std::u8string(utf8.begin(), utf8.end())));
}

// The text of a module line after its date, time, thread and level: "....Function: message".
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
        logging::CLogDLL* log = m_handle.Acquire();
        EXPECT_NE(log, nullptr);
        EXPECT_NE(log->m_module, nullptr) << "the dev kit's tracelog beside the tests";
        if (log != nullptr && log->LogSetPath != nullptr) {
            log->LogSetPath(m_path.c_str());
        }
    }

    std::vector<std::string> Lines() const { return ReadLogLines(m_path); }
    const std::wstring& Path() const { return m_path; }

private:
    platform_testing::TempDir m_dir;
    std::wstring m_path;
    logging::LogHandle m_handle;
};

} // namespace diag_testing
