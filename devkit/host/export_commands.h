// The host's commands for the agent module's plain exports (user, info, field, status, add-app,
// remove-app) and the identity step that follows Init.
//
// Contract: each command calls one export, found by name in the context's module; the host has
// checked before creating the object that the export exists (CommandSpec::moduleExport), and a
// run that still finds none fails with a message. Each run prints one line,
// {"command":NAME,...,"ok":B}, and succeeds when the export returned true. A cv::ValueException
// that GetInfo lets out is caught and reported as the command's failure with its text. Strings
// the module fills are the host's own objects and are destroyed before the run returns. Runs on
// the host's main thread; the exports block it for the life of the node tool (and a cloud call).
#pragma once

#include "devkit/host/commands.h"

#include <string>
#include <vector>

namespace devkit::host {

std::string CheckNothing(const std::vector<std::string>& operands);
// The status operand of "status APP N" and "add-app APP NAME STATUS VERSION" must be a whole
// number that fits an int; numbers without a status word still reach the export, which refuses.
std::string CheckStatus(const std::vector<std::string>& operands);
std::string CheckAddApp(const std::vector<std::string>& operands);

bool RunUser(CommandContext& context, const std::vector<std::string>& operands);
bool RunInfo(CommandContext& context, const std::vector<std::string>& operands);
bool RunField(CommandContext& context, const std::vector<std::string>& operands);
bool RunStatus(CommandContext& context, const std::vector<std::string>& operands);
bool RunAddApp(CommandContext& context, const std::vector<std::string>& operands);
bool RunRemoveApp(CommandContext& context, const std::vector<std::string>& operands);

// Prints the identity the node service reports through the module's GetNexiloInfo:
// {"step":"identity","user_token":T,"device_id":D}, or {"step":"identity","found":false}. A
// module without that export gets a warning instead of the line.
void ShowIdentity(Console& console, platform::ModuleHandle module);

} // namespace devkit::host
