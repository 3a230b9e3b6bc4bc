// The exports of the logging module (tracelog.dll), which the product loads at run time.
//
// Contract: every export is a plain C function with NEXILO_CALL. A loader resolves them by the
// names below; a module may lack any of them. Results are 0 or a Windows-style error number.
// - LogInit / LogDeinit: called once after each load and before each unload; they nest, so
//   loading and unloading around every line is allowed and cheap.
// - LogWrite(depthChange, level, module, function, format, ...): one line. `depthChange` is +1
//   when a traced scope is entered (the line stands at the old depth), -1 when it is left (the
//   line stands at the new depth), else 0; the depth is kept per thread. `level` points to the
//   level word (read only): 4 error, 8 warning, 16 info, 32 trace. `module` identifies the
//   calling module. `format` is a wide printf format in the Windows convention (%s a wide text,
//   %S and %hs a narrow one, %ls a wide one). Safe for concurrent callers.
// - The settings exports change the running module's settings; they last until the module is
//   unloaded. The module's README tells their meaning and the environment it reads.
#pragma once

#include "nexilo/exports.h"

#include <cstdint>

inline constexpr std::uint32_t kLogLevelError = 4;
inline constexpr std::uint32_t kLogLevelWarning = 8;
inline constexpr std::uint32_t kLogLevelInfo = 16;
inline constexpr std::uint32_t kLogLevelTrace = 32;

// What a loader answers in place of a missing LogWrite: E_NOINTERFACE.
inline constexpr std::uint32_t kLogWriteMissing = 0x80004002;

using LogInitFn = std::uint32_t(NEXILO_CALL*)();
using LogDeinitFn = std::uint32_t(NEXILO_CALL*)();
using LogApplySettingsFn = std::uint32_t(NEXILO_CALL*)();
using LogSetSettingsFileFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* path);
using LogEnableFn = std::uint32_t(NEXILO_CALL*)(std::int32_t enable);
using LogSetLevelFn = std::uint32_t(NEXILO_CALL*)(std::uint32_t level);
using LogSetPathFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* path);
using LogSetTypeFn = std::uint32_t(NEXILO_CALL*)(std::uint32_t type);
using LogSetModeFn = std::uint32_t(NEXILO_CALL*)(std::uint32_t mode);
using LogSetMaxSizeFn = std::uint32_t(NEXILO_CALL*)(std::uint32_t bytes);
using LogSetDepthFn = std::uint32_t(NEXILO_CALL*)(std::int32_t depth);
using LogWriteFn = std::uint32_t(NEXILO_CALL*)(std::int32_t depthChange, const std::uint32_t* level,
                                               const void* module, const wchar_t* function,
                                               const wchar_t* format, ...);
using LogIsEnabledFn = std::int32_t(NEXILO_CALL*)();
using LogMonitorSettingsFn = std::uint32_t(NEXILO_CALL*)(std::int32_t enable);
using LogUninitDeskMetricsFn = std::uint32_t(NEXILO_CALL*)();
using LogTrackEventFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* name);
using LogTrackEventDataFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* name, const wchar_t* data);
using LogRemoveModuleFn = std::uint32_t(NEXILO_CALL*)(const wchar_t* text);
using LogGetLevelFn = std::uint32_t(NEXILO_CALL*)();
