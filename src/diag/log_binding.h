// The binding of the optional logging module (tracelog.dll) and the logging statement.
//
// Contract:
// - logging::CLogDLL loads the module when made and unloads it when destroyed: the module already
//   in the process (one more reference on it) or the file beside this component, nowhere else.
//   A missing module, or a missing LogWrite, leaves a stub in LogWrite that writes nothing and
//   answers kLogWriteMissing; every other missing export is a null pointer.
// - One CLogDLL exists per process while someone holds it through a LogHandle (a SharedRef on
//   the holder below): the module is loaded while the number of holders is above 0.
// - NX_LOG(level, function, format, ...) writes one line when someone holds the logger and does
//   nothing otherwise: one relaxed load and a branch, the arguments not even evaluated. Arguments
//   travel as C variadic arguments, so only numbers and pointers are accepted; the format
//   follows the Windows convention (%s a wide text, %S/%hs a narrow one).
// - Threads: everything here is thread-safe; LogWrite of the module must be too.
#pragma once

#include "diag/shared_instance.h"
#include "nexilo/log_module.h"
#include "platform/module_loader.h"

#include <cstdint>
#include <type_traits>

namespace logging {

// The module and its exports, in the module's table order.
struct CLogDLL {
    CLogDLL();
    ~CLogDLL();
    CLogDLL(const CLogDLL&) = delete;
    CLogDLL& operator=(const CLogDLL&) = delete;

    platform::ModuleHandle m_module = nullptr;
    LogApplySettingsFn LogApplySettings = nullptr;
    LogSetSettingsFileFn LogSetSettingsFile = nullptr;
    LogEnableFn LogEnable = nullptr;
    LogSetLevelFn LogSetLevel = nullptr;
    LogSetPathFn LogSetPath = nullptr;
    LogSetTypeFn LogSetType = nullptr;
    LogSetModeFn LogSetMode = nullptr;
    LogSetMaxSizeFn LogSetMaxSize = nullptr;
    LogSetDepthFn LogSetDepth = nullptr;
    LogWriteFn LogWrite = nullptr;
    LogIsEnabledFn LogIsEnabled = nullptr;
    LogMonitorSettingsFn LogMonitorSettings = nullptr;
    LogUninitDeskMetricsFn LogUninitDeskMetrics = nullptr;
    LogTrackEventFn LogTrackEvent = nullptr;
    LogTrackEventDataFn LogTrackEventData = nullptr;
    LogRemoveModuleFn LogRemoveModule = nullptr;
    LogGetLevelFn LogGetLevel = nullptr;
    // What LogWrite is told as the calling module.
    const void* m_self = nullptr;
};

extern constinit diag::SharedInstanceHolder<CLogDLL> g_logHolder;

using LogHandle = diag::SharedRef<CLogDLL, g_logHolder>;

inline bool IsLoggerHeld() noexcept {
    return g_logHolder.Holders() != 0;
}

// Tests only: the file name looked for instead of "tracelog.dll". Set it while nobody holds the
// logger; null restores the default.
void SetLogModuleNameForTesting(const wchar_t* name) noexcept;

template <class... Args>
[[gnu::cold, gnu::noinline]] void Write(std::uint32_t level, const wchar_t* function,
                                        const wchar_t* format, Args... args) {
    static_assert(
        ((std::is_arithmetic_v<Args> || std::is_pointer_v<Args> || std::is_enum_v<Args>)&&...),
        "log arguments are C variadic arguments: numbers and pointers only");
    LogHandle handle;
    if (CLogDLL* log = handle.Acquire()) {
        const std::uint32_t levelWord = level;
        log->LogWrite(0, &levelWord, log->m_self, function, format, args...);
    }
}

} // namespace logging

#define NX_LOG(level, function, ...)                                                               \
    do {                                                                                           \
        if (::logging::IsLoggerHeld()) [[unlikely]] {                                              \
            ::logging::Write(level, function, __VA_ARGS__);                                        \
        }                                                                                          \
    } while (0)

#define NX_LOG_ERROR(function, ...) NX_LOG(kLogLevelError, function, __VA_ARGS__)
#define NX_LOG_WARNING(function, ...) NX_LOG(kLogLevelWarning, function, __VA_ARGS__)
#define NX_LOG_INFO(function, ...) NX_LOG(kLogLevelInfo, function, __VA_ARGS__)
#define NX_LOG_TRACE(function, ...) NX_LOG(kLogLevelTrace, function, __VA_ARGS__)
