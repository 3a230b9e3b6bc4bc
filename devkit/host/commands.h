// The host's command table: what each command is called, what it takes, how it checks its
// operands before anything is loaded, and how it runs against the started agent.
//
// A command takes a fixed number of operands. Its check runs while the arguments are parsed, so
// a bad operand stops the host before the module is loaded; its run prints one output line (a
// JSON object with "command" naming it) and says whether it succeeded. Runs happen on the main
// thread between Init and UnInit. A command for one of the module's flat exports finds the
// export through the context's module handle (export_commands.h); a command for the agent uses
// its INexiloAgent.
// Values that the agent hands back are made by the module's code and must be destroyed before
// the command returns (they can't outlive the module).
#pragma once

#include "devkit/host/console.h"
#include "devkit/host/event_printer.h"
#include "nexilo/nexilo_agent_interface.h"
#include "platform/module_loader.h"

#include <string>
#include <string_view>
#include <vector>

namespace devkit::host {

class PushClients;

struct CommandContext {
    Console& console;
    platform::ModuleHandle module;            // the loaded agent module
    cv::hostkit::Nexilo::INexiloAgent* agent; // the started agent
    EventPrinter& events;                     // the agent's subscriber, for wait-event
    PushClients& push;                        // the push commands' clients of this run
};

struct CommandSpec {
    const char* name;
    std::vector<const char*> operands; // their names, for the usage
    const char* summary;               // one line for the help
    // The problem with the operands, or empty when they are good.
    std::string (*check)(const std::vector<std::string>& operands);
    // True when the command succeeded; prints its own line and its error messages.
    bool (*run)(CommandContext& context, const std::vector<std::string>& operands);
    // The module's plain export that the command calls, or null for a command of the agent.
    // The host looks it up before it creates the object, so a module without it starts nothing.
    const char* moduleExport;
};

const std::vector<CommandSpec>& CommandTable();

// The command of that name, or null.
const CommandSpec* FindCommand(std::string_view name);

// "ask SERVICE METHOD JSON"
std::string CommandUsage(const CommandSpec& command);

} // namespace devkit::host
