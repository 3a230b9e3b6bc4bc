#include "platform/command_line.h"

namespace platform {

std::vector<std::string> ProgramArgumentsUtf8(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}

} // namespace platform
