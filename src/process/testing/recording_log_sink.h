// A LogSink for tests that keeps each line as "level|function|format|text|number".
#pragma once

#include "process/process_log.h"

#include <string>
#include <vector>

namespace process::testing {

class RecordingLogSink final : public LogSink {
public:
    std::vector<std::wstring> lines;

    void Write(const LogLine& line) override {
        lines.push_back(std::to_wstring(line.level) + L"|" + line.function + L"|" + line.format +
                        L"|" + line.text.value_or(L"") + L"|" +
                        (line.number ? std::to_wstring(*line.number) : L""));
    }
};

} // namespace process::testing
