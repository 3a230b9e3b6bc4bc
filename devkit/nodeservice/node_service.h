// What the dev kit's node service does with its command line: sign a user in or out, or switch
// the account, in the node state that nodectl reads, then signal the user-changed event. A
// function from arguments, state file and events to message and exit code, so it can be tested
// without starting the program.
#pragma once

#include "platform/named_event.h"

#include <filesystem>
#include <string>
#include <vector>

namespace devkit::nodeservice {

// Exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 2; // no word, an unknown word or option
inline constexpr int kExitStateFile =
    5; // the state file can't be read, is broken, or can't be written
inline constexpr int kExitSignal = 6; // the event can't be made or set

struct Outcome {
    int exitCode = kExitOk;
    std::string output; // one line for standard output on success
    std::string error;  // one message for standard error on failure
};

// `args` are the arguments after the program name. The state is written (atomically) before the
// event is set, so that the agent's fetch after the wake sees the new user.
Outcome RunNodeService(const std::vector<std::string>& args, const std::filesystem::path& stateFile,
                       platform::NamedEvents& events, const std::wstring& eventName);

} // namespace devkit::nodeservice
