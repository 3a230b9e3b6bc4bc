// FunctionTracer: a scope object that writes "-> name()" at entry and "<- name() [ms]" at exit.
//
// Contract: both lines go at trace level with depth changes +1 and -1 to the sink of the log
// they trace, or, without one, to the logging module whether or not anyone holds it: the tracer
// takes its own reference around each line, so without a holder the module is loaded and
// unloaded for each of them. A name is cut to 257 characters in the label (then "()" is added)
// and to 259 in the function name. The elapsed time is the unsigned 32-bit difference of a
// millisecond clock (the system's unless one is given), right across its wrap. The exit line is
// written by the destructor; an exception there ends the process. One tracer belongs to one
// thread.
#pragma once

#include "diag/log.h"
#include "platform/monotonic_clock.h"

#include <cstdint>

namespace logging {

class FunctionTracer {
public:
    static constexpr std::uint32_t kBufferSize = 260;
    static constexpr std::uint32_t kLabelLimit = 257;
    static constexpr std::uint32_t kNameLimit = 259;

    using Clock = std::uint32_t (*)() noexcept;

    explicit FunctionTracer(const wchar_t* name, LogSink* sink = nullptr,
                            Clock clock = &platform::MonotonicMs32);
    // Traces under the log's function name, into its sink.
    explicit FunctionTracer(const FunctionLog& log, Clock clock = &platform::MonotonicMs32)
        : FunctionTracer(log.Function(), log.Sink(), clock) {}
    ~FunctionTracer();
    FunctionTracer(const FunctionTracer&) = delete;
    FunctionTracer& operator=(const FunctionTracer&) = delete;

    const wchar_t* Label() const noexcept { return m_label; }
    const wchar_t* Name() const noexcept { return m_name; }

private:
    void WriteLine(std::int32_t depthChange, const wchar_t* format, std::int32_t elapsed);

    std::uint32_t m_start;
    wchar_t m_label[kBufferSize];
    wchar_t m_name[kBufferSize];
    LogSink* m_sink;
    Clock m_clock;
};

} // namespace logging

#define NX_TRACE_CONCAT_INNER(a, b) a##b
#define NX_TRACE_CONCAT(a, b) NX_TRACE_CONCAT_INNER(a, b)
// Traces the rest of the enclosing scope under the name of `log`, a logging::FunctionLog.
#define NX_TRACE_SCOPE(log) ::logging::FunctionTracer NX_TRACE_CONCAT(nxTracer, __LINE__)(log)
