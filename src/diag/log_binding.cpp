#include "diag/log_binding.h"

#include "platform/module_path.h"

#include <string>

namespace logging {

constinit diag::SharedInstanceHolder<CLogDLL> g_logHolder;

namespace {

std::uint32_t NEXILO_CALL LogWriteStub(std::int32_t, const std::uint32_t*, const void*,
                                       const wchar_t*, const wchar_t*, ...) {
    return kLogWriteMissing;
}

template <class Fn>
void Resolve(platform::ModuleHandle module, const char* name, Fn& slot) {
    slot = reinterpret_cast<Fn>(platform::FindExport(module, name).address);
}

} // namespace

CLogDLL::CLogDLL(const wchar_t* moduleName) {
    m_self = platform::ThisModuleId();
    platform::ModuleResult loaded = platform::AcquireLoadedModule(moduleName);
    if (!loaded.module) {
        std::wstring self = platform::GetOwnModulePath().path;
        if (!self.empty()) {
            loaded = platform::LoadModuleFile(platform::JoinPath(
                platform::ParentFolder(self), platform::SystemModuleName(moduleName)));
        }
    }
    if (!loaded.module) {
        LogWrite = LogWriteStub;
        return;
    }
    m_module = loaded.module.release();

    LogInitFn init = nullptr;
    Resolve(m_module, "LogInit", init);
    if (init != nullptr) {
        init();
    }
    Resolve(m_module, "LogApplySettings", LogApplySettings);
    Resolve(m_module, "LogSetSettingsFile", LogSetSettingsFile);
    Resolve(m_module, "LogEnable", LogEnable);
    Resolve(m_module, "LogSetLevel", LogSetLevel);
    Resolve(m_module, "LogSetPath", LogSetPath);
    Resolve(m_module, "LogSetType", LogSetType);
    Resolve(m_module, "LogSetMode", LogSetMode);
    Resolve(m_module, "LogSetMaxSize", LogSetMaxSize);
    Resolve(m_module, "LogSetDepth", LogSetDepth);
    Resolve(m_module, "LogWrite", LogWrite);
    Resolve(m_module, "LogIsEnabled", LogIsEnabled);
    Resolve(m_module, "LogMonitorSettings", LogMonitorSettings);
    Resolve(m_module, "LogUninitDeskMetrics", LogUninitDeskMetrics);
    Resolve(m_module, "LogTrackEvent", LogTrackEvent);
    Resolve(m_module, "LogTrackEventData", LogTrackEventData);
    Resolve(m_module, "LogRemoveModule", LogRemoveModule);
    Resolve(m_module, "LogGetLevel", LogGetLevel);
    if (LogWrite == nullptr) {
        LogWrite = LogWriteStub;
    }
}

CLogDLL::~CLogDLL() {
    if (m_module == nullptr) {
        return;
    }
    LogDeinitFn deinit = nullptr;
    Resolve(m_module, "LogDeinit", deinit);
    if (deinit != nullptr) {
        deinit();
    }
    if (LogUninitDeskMetrics != nullptr) {
        LogUninitDeskMetrics();
    }
    if (LogRemoveModule != nullptr) {
        LogRemoveModule(L"logging::CLogDLL::~CLogDLL");
    }
    platform::ModuleTraits::Close(m_module);
}

} // namespace logging
