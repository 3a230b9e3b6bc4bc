// The agent module's plain exported functions, for the product's other processes: the account
// node service's control tool behind five of them, and one cloud query.
//
// Contract:
// - All return true on success; the reason for a failure goes only to the module's log.
// - Each blocks its caller for the life of one run of the control tool (nodectl beside the
//   module), with no time limit; GetInfo also makes one blocking cloud call. They keep no state
//   and take no lock of their own, so any thread may call them.
// - cv::StringW and std::string cross the border here: caller and module must share one
//   definition of them (same toolchain and runtime), and a string filled by the module is
//   destroyed before the module unloads.
// - GetNexiloInfo touches its out arguments only on success. A status outside 0 (enabled),
//   1 (disabled), 2 (pending) starts nothing and gives false, as does RemoveApp(nullptr).
// - GetInfo lets a cv::ValueException out when the account's reply is not a dictionary or its
//   "email" is not a string. Only a caller built with this module's toolchain can catch it: in a
//   caller built with Microsoft's compiler the exception cannot be caught and ends the process.
#pragma once

#include "nexilo/cv_string.h"
#include "nexilo/exports.h"

#include <string>

NEXILO_EXPORT bool NEXILO_CALL GetNexiloInfo(cv::StringW& deviceId, cv::StringW& userToken);
NEXILO_EXPORT bool NEXILO_CALL SetStatus(const wchar_t* appId, int status);
NEXILO_EXPORT bool NEXILO_CALL AddApp(const wchar_t* appId, const wchar_t* name, int status,
                                      const wchar_t* version);
NEXILO_EXPORT bool NEXILO_CALL RemoveApp(const wchar_t* appId);
NEXILO_EXPORT bool NEXILO_CALL GetInfo(cv::StringW& email, const cv::StringW& appId);
NEXILO_EXPORT bool NEXILO_CALL GetAgentField(const wchar_t* key, const wchar_t* field,
                                             std::string& value);

using GetNexiloInfoFn = bool(NEXILO_CALL*)(cv::StringW& deviceId, cv::StringW& userToken);
using SetStatusFn = bool(NEXILO_CALL*)(const wchar_t* appId, int status);
using AddAppFn = bool(NEXILO_CALL*)(const wchar_t* appId, const wchar_t* name, int status,
                                    const wchar_t* version);
using RemoveAppFn = bool(NEXILO_CALL*)(const wchar_t* appId);
using GetInfoFn = bool(NEXILO_CALL*)(cv::StringW& email, const cv::StringW& appId);
using GetAgentFieldFn = bool(NEXILO_CALL*)(const wchar_t* key, const wchar_t* field,
                                           std::string& value);
