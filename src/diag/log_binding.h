// The binding of the optional logging module (tracelog.dll): its table, the process-wide holder
// that keeps it loaded, and the one way a line reaches it. Code writes lines through the logging
// statement of diag/log.h, not through this header.
//
// Contract:
// - logging::CLogDLL loads the module when made and unloads it when destroyed: the module already
//   in the process (one more reference on it) or the file beside this component, nowhere else.
//   A missing module, or a missing LogWrite, leaves a stub in LogWrite that writes nothing and
//   answers kLogWriteMissing; every other missing export is a null pointer.
// - One CLogDLL exists per module while someone holds it through a LogHandle (a SharedRef on
//   the holder below): the logging module is loaded while the number of holders is above 0.
// - WriteToModule takes a reference for the length of one line (a second try when the first
//   yields nothing) and calls LogWrite. Arguments travel as C variadic arguments, so only numbers
//   and pointers are accepted; the format follows the Windows convention (%s a wide text, %S/%hs
//   a narrow one).
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
    static constexpr const wchar_t* kModuleName = L"tracelog.dll";

    // Binds the module of that name (the process-wide instance: tracelog.dll).
    explicit CLogDLL(const wchar_t* moduleName = kModuleName);
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

// Process-wide by nature: every object of this module logs through one binding, loaded while
// anyone holds it, and statements must find it without being handed anything.
extern constinit diag::SharedInstanceHolder<CLogDLL> g_logHolder;

using LogHandle = diag::SharedRef<CLogDLL, g_logHolder>;

inline bool IsLoggerHeld() noexcept {
    return g_logHolder.Holders() != 0;
}

template <class... Args>
void WriteToModule(std::uint32_t level, std::int32_t depthChange, const wchar_t* function,
                   const wchar_t* format, Args... args) {
    static_assert(
        ((std::is_arithmetic_v<Args> || std::is_pointer_v<Args> || std::is_enum_v<Args>)&&...),
        "log arguments are C variadic arguments: numbers and pointers only");
    LogHandle handle;
    CLogDLL* log = handle.Acquire();
    if (log == nullptr) {
        log = handle.Acquire();
    }
    if (log != nullptr) {
        const std::uint32_t levelWord = level;
        log->LogWrite(depthChange, &levelWord, log->m_self, function, format, args...);
    }
}

} // namespace logging
