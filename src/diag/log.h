// The logging statement: the one way code writes a log line.
//
// A function names its lines once, in a FunctionLog at its top, and writes through the macros:
//
//     const logging::FunctionLog log(L"NexiloAgent::Init");
//     NX_TRACE_SCOPE(log);                      // optional: "-> ..." and "<- ... [ms]" lines
//     NX_LOG_ERROR(log, L"cannot init event queue");
//     NX_LOG_INFO(log, L"installed [%s]", version.GetString());
//
// Contract:
// - Without a sink, lines go to the logging module (diag/log_binding.h), and only while someone
//   holds it: a statement then costs one load and a branch, and its arguments are not even
//   evaluated. With a sink (tests, or whatever an owner hands in), every line goes to the sink.
// - Arguments travel as C variadic arguments, so only numbers and pointers are accepted; the
//   format follows the Windows convention (%s a wide text, %S/%hs a narrow one).
// - Levels: kLogLevelError 4, kLogLevelWarning 8, kLogLevelInfo 16, kLogLevelTrace 32.
// - Threads: statements may run on any thread; a sink must accept concurrent lines.
#pragma once

#include "diag/log_binding.h"
#include "nexilo/log_module.h"

#include <cstdarg>
#include <cstdint>
#include <type_traits>

namespace logging {

// Where lines go instead of the logging module. The module takes its arguments as C variadic
// arguments and has no entry for a va_list, so it is reached directly, not through this class.
class LogSink {
public:
    virtual void Write(std::uint32_t level, std::int32_t depthChange, const wchar_t* function,
                       const wchar_t* format, std::va_list args) = 0;

protected:
    ~LogSink() = default;
};

// Hands one line to a sink; the arguments as the format says.
void WriteToSink(LogSink& sink, std::uint32_t level, std::int32_t depthChange,
                 const wchar_t* function, const wchar_t* format, ...);

// The name that a function's lines carry, and where they go (null: the logging module).
class FunctionLog {
public:
    constexpr explicit FunctionLog(const wchar_t* function, LogSink* sink = nullptr) noexcept
        : m_function(function), m_sink(sink) {}

    const wchar_t* Function() const noexcept { return m_function; }
    LogSink* Sink() const noexcept { return m_sink; }

    // True when a line would be written.
    bool IsOn() const noexcept { return m_sink != nullptr || IsLoggerHeld(); }

    template <class... Args>
    [[gnu::cold, gnu::noinline]] void Write(std::uint32_t level, const wchar_t* format,
                                            Args... args) const {
        static_assert(
            ((std::is_arithmetic_v<Args> || std::is_pointer_v<Args> || std::is_enum_v<Args>)&&...),
            "log arguments are C variadic arguments: numbers and pointers only");
        if (m_sink != nullptr) {
            WriteToSink(*m_sink, level, 0, m_function, format, args...);
        } else {
            WriteToModule(level, 0, m_function, format, args...);
        }
    }

private:
    const wchar_t* m_function;
    LogSink* m_sink;
};

} // namespace logging

#define NX_LOG(log, level, ...)                                                                    \
    do {                                                                                           \
        if ((log).IsOn()) [[unlikely]] {                                                           \
            (log).Write(level, __VA_ARGS__);                                                       \
        }                                                                                          \
    } while (0)

#define NX_LOG_ERROR(log, ...) NX_LOG(log, kLogLevelError, __VA_ARGS__)
#define NX_LOG_WARNING(log, ...) NX_LOG(log, kLogLevelWarning, __VA_ARGS__)
#define NX_LOG_INFO(log, ...) NX_LOG(log, kLogLevelInfo, __VA_ARGS__)
#define NX_LOG_TRACE(log, ...) NX_LOG(log, kLogLevelTrace, __VA_ARGS__)
