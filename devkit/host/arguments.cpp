#include "devkit/host/arguments.h"

#include <algorithm>

namespace devkit::host {

namespace {

ParsedArguments Failure(std::string error) {
    ParsedArguments parsed;
    parsed.error = std::move(error);
    return parsed;
}

std::string CommandList() {
    std::string names;
    for (const CommandSpec& command : CommandTable()) {
        names += names.empty() ? "" : ", ";
        names += command.name;
    }
    return names;
}

// Splits "--name=value"; the value is absent without '='.
void SplitOption(const std::string& arg, std::string& name, std::optional<std::string>& value) {
    std::size_t equals = arg.find('=');
    if (equals == std::string::npos) {
        name = arg;
        value.reset();
    } else {
        name = arg.substr(0, equals);
        value = arg.substr(equals + 1);
    }
}

} // namespace

const std::vector<std::string>& PluginNames() {
    static const std::vector<std::string> names = {"HKSettings", "productinfo", "evsink"};
    return names;
}

ParsedArguments ParseHostArguments(const std::vector<std::string>& args) {
    ParsedArguments parsed;
    HostArguments& result = parsed.arguments;
    std::size_t at = 0;
    for (; at < args.size(); ++at) {
        const std::string& arg = args[at];
        if (arg == "--") {
            ++at;
            break;
        }
        if (arg.rfind("-", 0) != 0 || arg == "-") {
            break;
        }
        std::string name;
        std::optional<std::string> value;
        SplitOption(arg, name, value);
        if (name == "--help" || name == "-h") {
            if (value) {
                return Failure(name + " takes no value");
            }
            result.help = true;
            continue;
        }
        if (name != "--module" && name != "--without") {
            return Failure("unknown option \"" + name + "\"");
        }
        if (!value) {
            if (at + 1 >= args.size()) {
                return Failure(name + " needs a value");
            }
            value = args[++at];
        }
        if (name == "--module") {
            if (result.module) {
                return Failure("--module given twice");
            }
            if (value->empty()) {
                return Failure("--module needs a path");
            }
            result.module = *value;
        } else {
            const auto& plugins = PluginNames();
            if (std::find(plugins.begin(), plugins.end(), *value) == plugins.end()) {
                return Failure("--without: unknown plugin \"" + *value +
                               "\" (HKSettings, productinfo or evsink)");
            }
            result.withheld.insert(*value);
        }
    }
    if (result.help) {
        return parsed;
    }

    while (at < args.size()) {
        const std::string& name = args[at++];
        const CommandSpec* command = FindCommand(name);
        if (command == nullptr && name.rfind("-", 0) == 0) {
            return Failure("options go before the commands: \"" + name + "\"");
        }
        if (command == nullptr) {
            return Failure("unknown command \"" + name + "\" (commands: " + CommandList() + ")");
        }
        CommandCall call;
        call.command = command;
        const std::size_t needed = command->operands.size();
        if (args.size() - at < needed) {
            return Failure(name + " needs " + std::to_string(needed) + " operand" +
                           (needed == 1 ? "" : "s") + ": " + CommandUsage(*command));
        }
        call.operands.assign(args.begin() + static_cast<std::ptrdiff_t>(at),
                             args.begin() + static_cast<std::ptrdiff_t>(at + needed));
        at += needed;
        if (std::string problem = command->check(call.operands); !problem.empty()) {
            return Failure(problem);
        }
        result.commands.push_back(std::move(call));
    }
    if (result.commands.empty()) {
        return Failure("no command given");
    }
    return parsed;
}

} // namespace devkit::host
