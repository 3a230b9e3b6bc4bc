// ProductNodeService: the dev kit's account node service. See README.md beside this file.
#include "devkit/nodectl/node_state.h"
#include "devkit/nodeservice/node_service.h"
#include "platform/command_line.h"
#include "process/user_changed_event.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    std::vector<std::string> args = platform::ProgramArgumentsUtf8(argc, argv);
    if (!args.empty()) {
        args.erase(args.begin());
    }
    devkit::nodeservice::Outcome outcome;
    try {
        outcome = devkit::nodeservice::RunNodeService(args, devkit::nodectl::StateFile(),
                                                      platform::SystemNamedEvents(),
                                                      process::UserChangedEventName());
    } catch (const std::exception& failure) {
        outcome.exitCode = devkit::nodeservice::kExitStateFile;
        outcome.error = std::string("ProductNodeService: ") + failure.what() + "\n";
    }
    std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
    std::fflush(stdout);
    std::fwrite(outcome.error.data(), 1, outcome.error.size(), stderr);
    std::fflush(stderr);
    return outcome.exitCode;
}
