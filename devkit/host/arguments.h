// The host's command line: options first, then commands with their operands.
//
//   host [--module PATH] [--without PLUGIN]... COMMAND [OPERAND]... [COMMAND [OPERAND]...]...
//   host --help
//
// Options take their value as the next argument or after '=' (--module=PATH). "--" ends the
// options. Parsing checks everything that can be checked without loading the module: unknown or
// repeated options, missing values, unknown plugin names, unknown commands, missing operands and
// each command's own operand check. Pure function of the arguments; thread-safe.
#pragma once

#include "devkit/host/commands.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace devkit::host {

struct CommandCall {
    const CommandSpec* command = nullptr;
    std::vector<std::string> operands;
};

struct HostArguments {
    bool help = false;
    std::optional<std::string> module; // as given, UTF-8
    std::set<std::string> withheld;    // plugins not to offer
    std::vector<CommandCall> commands;
};

struct ParsedArguments {
    HostArguments arguments;
    std::string error; // empty when the arguments are good
};

// `args` are the arguments after the program name, UTF-8.
ParsedArguments ParseHostArguments(const std::vector<std::string>& args);

// The plugin names that --without accepts.
const std::vector<std::string>& PluginNames();

} // namespace devkit::host
