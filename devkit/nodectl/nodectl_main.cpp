// nodectl: the dev kit's node control tool. See README.md beside this file.
#include "devkit/nodectl/node_state.h"
#include "devkit/nodectl/nodectl_commands.h"
#include "platform/build_config.h"
#include "platform/command_line.h"

#include <cstdio>

#if defined(NEXILO_OS_WIN)
#include <fcntl.h>
#include <io.h>
#endif

int main(int argc, char** argv) {
#if defined(NEXILO_OS_WIN)
    // The output is bytes; the line ends are chosen by the commands, not by the runtime.
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    std::vector<std::string> args = platform::ProgramArgumentsUtf8(argc, argv);
    if (!args.empty()) {
        args.erase(args.begin());
    }
    devkit::nodectl::Outcome outcome;
    try {
        outcome = devkit::nodectl::RunNodectl(args, devkit::nodectl::StateFile());
    } catch (const std::exception& failure) {
        outcome.exitCode = devkit::nodectl::kExitStateFile;
        outcome.error = std::string("nodectl: ") + failure.what() + "\n";
    }
    // Everything is written before the tool ends: its reader waits for the end, then reads once.
    std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
    std::fflush(stdout);
    std::fwrite(outcome.error.data(), 1, outcome.error.size(), stderr);
    std::fflush(stderr);
    return outcome.exitCode;
}
