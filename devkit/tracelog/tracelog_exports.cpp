// The module's exports. TRACELOG_WITHOUT_LOGWRITE builds a variant that lacks LogWrite, so that
// tests can see how a loader copes with it.
#include "devkit/tracelog/logger.h"
#include "nexilo/log_module.h"
#include "platform/error_codes.h"

#include <cstdarg>
#include <type_traits>

using devkit::tracelog::TheLogger;

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogInit() {
    TheLogger().Init();
    return platform::kErrorSuccess;
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogDeinit() {
    TheLogger().Deinit();
    return platform::kErrorSuccess;
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogApplySettings() {
    return TheLogger().ApplySettings();
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetSettingsFile(const wchar_t* path) {
    return TheLogger().SetSettingsFile(path);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogEnable(std::int32_t enable) {
    return TheLogger().Enable(enable != 0);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetLevel(std::uint32_t level) {
    return TheLogger().SetLevel(level);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetPath(const wchar_t* path) {
    return TheLogger().SetPath(path);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetType(std::uint32_t type) {
    return TheLogger().SetType(type);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetMode(std::uint32_t mode) {
    return TheLogger().SetMode(mode);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetMaxSize(std::uint32_t bytes) {
    return TheLogger().SetMaxSize(bytes);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogSetDepth(std::int32_t depth) {
    return TheLogger().SetDepth(depth);
}

#if !defined(TRACELOG_WITHOUT_LOGWRITE)
NEXILO_EXPORT std::uint32_t NEXILO_CALL LogWrite(std::int32_t depthChange,
                                                 const std::uint32_t* level, const void* module,
                                                 const wchar_t* function, const wchar_t* format,
                                                 ...) {
    (void)module;
    if (level == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    std::va_list args;
    va_start(args, format);
    std::uint32_t result = TheLogger().Write(depthChange, *level, function, format, args);
    va_end(args);
    return result;
}
static_assert(std::is_same_v<decltype(&LogWrite), LogWriteFn>);
#endif

NEXILO_EXPORT std::int32_t NEXILO_CALL LogIsEnabled() {
    return TheLogger().IsEnabled() ? 1 : 0;
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogMonitorSettings(std::int32_t enable) {
    return TheLogger().MonitorSettings(enable != 0);
}

// There are no desktop metrics in the dev kit; the export exists for the table's sake.
NEXILO_EXPORT std::uint32_t NEXILO_CALL LogUninitDeskMetrics() {
    return platform::kErrorSuccess;
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogTrackEvent(const wchar_t* name) {
    return TheLogger().WriteText(kLogLevelInfo, L"LogTrackEvent", name);
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogTrackEventData(const wchar_t* name,
                                                          const wchar_t* data) {
    std::wstring text = name != nullptr ? name : L"";
    text += L": ";
    text += data != nullptr ? data : L"";
    return TheLogger().WriteText(kLogLevelInfo, L"LogTrackEventData", text.c_str());
}

// Nothing is kept per calling module, so there is nothing to forget.
NEXILO_EXPORT std::uint32_t NEXILO_CALL LogRemoveModule(const wchar_t*) {
    return platform::kErrorSuccess;
}

NEXILO_EXPORT std::uint32_t NEXILO_CALL LogGetLevel() {
    return TheLogger().GetLevel();
}

static_assert(std::is_same_v<decltype(&LogInit), LogInitFn>);
static_assert(std::is_same_v<decltype(&LogDeinit), LogDeinitFn>);
static_assert(std::is_same_v<decltype(&LogApplySettings), LogApplySettingsFn>);
static_assert(std::is_same_v<decltype(&LogSetSettingsFile), LogSetSettingsFileFn>);
static_assert(std::is_same_v<decltype(&LogEnable), LogEnableFn>);
static_assert(std::is_same_v<decltype(&LogSetLevel), LogSetLevelFn>);
static_assert(std::is_same_v<decltype(&LogSetPath), LogSetPathFn>);
static_assert(std::is_same_v<decltype(&LogSetType), LogSetTypeFn>);
static_assert(std::is_same_v<decltype(&LogSetMode), LogSetModeFn>);
static_assert(std::is_same_v<decltype(&LogSetMaxSize), LogSetMaxSizeFn>);
static_assert(std::is_same_v<decltype(&LogSetDepth), LogSetDepthFn>);
static_assert(std::is_same_v<decltype(&LogIsEnabled), LogIsEnabledFn>);
static_assert(std::is_same_v<decltype(&LogMonitorSettings), LogMonitorSettingsFn>);
static_assert(std::is_same_v<decltype(&LogUninitDeskMetrics), LogUninitDeskMetricsFn>);
static_assert(std::is_same_v<decltype(&LogTrackEvent), LogTrackEventFn>);
static_assert(std::is_same_v<decltype(&LogTrackEventData), LogTrackEventDataFn>);
static_assert(std::is_same_v<decltype(&LogRemoveModule), LogRemoveModuleFn>);
static_assert(std::is_same_v<decltype(&LogGetLevel), LogGetLevelFn>);
