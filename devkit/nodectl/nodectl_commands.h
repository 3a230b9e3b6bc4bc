// What nodectl does with its arguments: the five verbs over the node state, as a function from
// arguments and state file to output, message and exit code, so it can be tested without
// starting the program.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace devkit::nodectl {

// Exit codes of the tool.
inline constexpr int kExitOk = 0;
inline constexpr int kExitBadVerb = 2;      // no verb, or one the tool doesn't know
inline constexpr int kExitBadOption = 3;    // unknown, repeated, missing or malformed option
inline constexpr int kExitMissingState = 4; // no user signed in, no such field or application
inline constexpr int kExitStateFile = 5;    // the state file can't be read or written

struct Outcome {
    int exitCode = kExitOk;
    std::string output; // bytes for standard output
    std::string error;  // one message for standard error, empty on success
};

// Runs one invocation; `args` are the arguments after the program name.
Outcome RunNodectl(const std::vector<std::string>& args, const std::filesystem::path& stateFile);

} // namespace devkit::nodectl
