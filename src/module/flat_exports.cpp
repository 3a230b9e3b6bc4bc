// The module's plain exports: the node control tool behind five of them, and GetInfo, which asks
// the cloud for the account's e-mail through a transient agent. All of them reach the system
// through the module's environment.
#include "nexilo/flat_exports.h"

#include "agent/transient_get_info.h"
#include "module/composition_root.h"
#include "process/node_tool.h"

#include <type_traits>

namespace {

process::NodeToolClient Tool() {
    const AgentEnvironment& environment = ProductionEnvironment();
    return process::NodeToolClient(environment.toolFolder, environment.launcher, environment.log);
}

} // namespace

NEXILO_EXPORT bool NEXILO_CALL GetNexiloInfo(cv::StringW& deviceId, cv::StringW& userToken) {
    std::wstring device;
    std::wstring token;
    if (!Tool().GetNexiloInfo(device, token)) {
        return false;
    }
    deviceId = device.c_str();
    userToken = token.c_str();
    return true;
}

NEXILO_EXPORT bool NEXILO_CALL SetStatus(const wchar_t* appId, int status) {
    return Tool().SetStatus(appId, status);
}

NEXILO_EXPORT bool NEXILO_CALL AddApp(const wchar_t* appId, const wchar_t* name, int status,
                                      const wchar_t* version) {
    return Tool().AddApp(appId, name, status, version);
}

NEXILO_EXPORT bool NEXILO_CALL RemoveApp(const wchar_t* appId) {
    return Tool().RemoveApp(appId);
}

NEXILO_EXPORT bool NEXILO_CALL GetAgentField(const wchar_t* key, const wchar_t* field,
                                             std::string& value) {
    return Tool().GetAgentField(key, field, value);
}

NEXILO_EXPORT bool NEXILO_CALL GetInfo(cv::StringW& email, const cv::StringW& appId) {
    return TransientGetInfo(ProductionEnvironment(), email, appId);
}

static_assert(std::is_same_v<decltype(&GetNexiloInfo), GetNexiloInfoFn>);
static_assert(std::is_same_v<decltype(&SetStatus), SetStatusFn>);
static_assert(std::is_same_v<decltype(&AddApp), AddAppFn>);
static_assert(std::is_same_v<decltype(&RemoveApp), RemoveAppFn>);
static_assert(std::is_same_v<decltype(&GetInfo), GetInfoFn>);
static_assert(std::is_same_v<decltype(&GetAgentField), GetAgentFieldFn>);
