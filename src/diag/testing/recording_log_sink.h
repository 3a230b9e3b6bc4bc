// A log sink for tests: keeps every line it is given, formatted, in order. Thread-safe.
#pragma once

#include "diag/log.h"
#include "nexilo/cv_string.h"

#include <mutex>
#include <string>
#include <vector>

namespace diag_testing {

class RecordingLogSink final : public logging::LogSink {
public:
    struct Line {
        std::uint32_t level;
        std::int32_t depthChange;
        std::wstring function;
        std::wstring message;
    };

    void Write(std::uint32_t level, std::int32_t depthChange, const wchar_t* function,
               const wchar_t* format, std::va_list args) override {
        cv::StringW message;
        cv::StringW::FormatV(message, format, args);
        std::lock_guard lock(m_mutex);
        m_lines.push_back({level, depthChange, function, message.GetString()});
    }

    // Each line as "level|function|message", e.g. "4|GetNexiloInfo|error split".
    std::vector<std::wstring> Texts() const {
        std::lock_guard lock(m_mutex);
        std::vector<std::wstring> texts;
        for (const Line& line : m_lines) {
            texts.push_back(std::to_wstring(line.level) + L"|" + line.function + L"|" +
                            line.message);
        }
        return texts;
    }
    std::vector<Line> Lines() const {
        std::lock_guard lock(m_mutex);
        return m_lines;
    }
    void Clear() {
        std::lock_guard lock(m_mutex);
        m_lines.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
};

} // namespace diag_testing
