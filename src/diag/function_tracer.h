// FunctionTracer: a scope object that writes "-> name()" at entry and "<- name() [ms]" at exit.
//
// Contract: both lines go to the logging module at trace level with depth changes +1 and -1,
// whether or not anyone holds the logger: the tracer takes its own reference around each line,
// so without a holder the module is loaded and unloaded for each of them. A name is cut to 257
// characters in the label (then "()" is added) and to 259 in the function name. The elapsed
// time is the unsigned 32-bit difference of a millisecond clock, right across its wrap. The exit
// line is written by the destructor; an exception there ends the process. One tracer belongs
// to one thread.
#pragma once

#include <cstdint>

namespace logging {

class FunctionTracer {
public:
    static constexpr std::uint32_t kBufferSize = 260;
    static constexpr std::uint32_t kLabelLimit = 257;
    static constexpr std::uint32_t kNameLimit = 259;

    explicit FunctionTracer(const wchar_t* name);
    ~FunctionTracer();
    FunctionTracer(const FunctionTracer&) = delete;
    FunctionTracer& operator=(const FunctionTracer&) = delete;

    const wchar_t* Label() const noexcept { return m_label; }
    const wchar_t* Name() const noexcept { return m_name; }

    using Clock = std::uint32_t (*)();
    // Tests only: the millisecond clock; null restores the system's.
    static void SetClockForTesting(Clock clock) noexcept;

private:
    std::uint32_t m_start;
    wchar_t m_label[kBufferSize];
    wchar_t m_name[kBufferSize];
};

} // namespace logging

#define NX_TRACE_CONCAT_INNER(a, b) a##b
#define NX_TRACE_CONCAT(a, b) NX_TRACE_CONCAT_INNER(a, b)
// Traces the rest of the enclosing scope under `name`, a wide literal such as L"Class::Method".
#define NX_TRACE_SCOPE(name) ::logging::FunctionTracer NX_TRACE_CONCAT(nxTracer, __LINE__)(name)
