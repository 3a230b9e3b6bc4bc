// host: the dev kit's reference host program. See README.md beside this file.
#include "devkit/common/devkit_home.h"
#include "devkit/host/console.h"
#include "devkit/host/host_run.h"
#include "platform/command_line.h"
#include "platform/module_loader.h"
#include "platform/module_path.h"

#include <iostream>

int main(int argc, char** argv) {
    std::vector<std::string> args = platform::ProgramArgumentsUtf8(argc, argv);
    if (!args.empty()) {
        args.erase(args.begin());
    }
    devkit::host::Console console(std::cout, std::cerr);
    devkit::host::HostSetup setup;
    setup.home = devkit::DevkitHome();
    platform::PathResult executable = platform::GetExecutablePath();
    setup.defaultModule = platform::JoinPath(platform::ParentFolder(executable.path),
                                             platform::SystemModuleName(L"NexiloAgent.dll"));
    return devkit::host::RunHost(args, console, setup);
}
