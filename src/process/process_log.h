// The log lines of the process runner and the node tool client, as data.
//
// Each line is a level, a function label, a format in the Windows convention (%s a wide text,
// %d a number) and the values of its %s and %d, in this order. The code writes them to a LogSink
// that its caller hands in, so that tests can read the exact lines; DiagLogSink() is the one that
// production code uses: the component's logging statement. Thread-safe as the sink is.
#pragma once

#include "nexilo/log_module.h"

#include <cstdint>
#include <optional>
#include <string>

namespace process {

struct LogLine {
    std::uint32_t level = kLogLevelInfo;
    const wchar_t* function = L""; // static text
    const wchar_t* format = L"";   // static text
    std::optional<std::wstring> text;
    std::optional<int> number;
};

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void Write(const LogLine& line) = 0;
};

// The component's log (silent while nobody holds the logger). Lives as long as the process.
LogSink& DiagLogSink() noexcept;

} // namespace process
