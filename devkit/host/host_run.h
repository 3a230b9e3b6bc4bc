// The reference host as a function: parses the arguments, prepares its plugins from the dev kit
// home, loads the agent module, creates "Nexilo.NexiloAgent", starts it, runs the commands,
// stops it and destroys it. main() is a thin shell around RunHost, and tests call it in-process.
//
// Order of a run: plugins from the files (a broken file stops the run before anything is
// loaded); module; the plain exports the commands call; CvCreateObject with the IServPlugin
// identifier; the ICvBaseInterface and INexiloAgent pointers by QueryInterface; RegisterEvents of
// the event printer; Init with the host interface; the identity through GetNexiloInfo; the
// commands in order, stopping at the first that fails; UnInit;
// UnregisterEvents; CvDestroyObject with the ICvBaseInterface pointer; the module is unloaded.
// A failed Init is not followed by UnInit: the agent undoes a failed start itself. At the end
// every plugin get and settings node that wasn't given back once is named in a warning.
//
// Output lines (standard output, one JSON object each):
//   {"step":"init","code":0}            the result of Init (signed: -1 for 0xFFFFFFFF)
//   {"step":"identity",...}             after a good Init: the user the node service reports
//   {"command":"ask",...}               each command's result
//   {"event":"NAME","data":...}         each event the agent fires, as it comes
//   {"step":"uninit"}                   after UnInit
// Messages for people go to standard error, starting with "host: ".
#pragma once

#include "devkit/host/console.h"

#include <filesystem>
#include <string>
#include <vector>

namespace devkit::host {

// Exit codes of the host.
inline constexpr int kExitOk = 0;
inline constexpr int kExitCommandFailed = 1; // a command failed (its message says why)
inline constexpr int kExitUsage = 2;         // bad arguments
inline constexpr int kExitHostFiles = 3;     // a file of the host in the dev kit home is broken
inline constexpr int kExitModuleMissing = 4; // the module is missing or can't be loaded
inline constexpr int kExitExportMissing = 5; // a factory export or a command's export is missing
inline constexpr int kExitCreateFailed = 6;  // the object can't be made or lacks an interface
inline constexpr int kExitInitFailed = 7;    // Init returned non-zero
inline constexpr int kExitInternal = 8;      // the host itself failed (an exception)

struct HostSetup {
    std::filesystem::path home; // the dev kit home
    std::wstring defaultModule; // full path of the module used without --module
};

// `args` are the arguments after the program name, UTF-8. Returns the exit code.
int RunHost(const std::vector<std::string>& args, Console& console, const HostSetup& setup);

// The text of "host --help" for a default module of that file name.
std::string HelpText(const std::string& defaultModuleName);

} // namespace devkit::host
