#include "module/composition_root.h"

#include "process/node_tool.h"

const AgentEnvironment& ProductionEnvironment() {
    static const AgentEnvironment environment{
        .registry = platform::SystemRegistry(),
        .launcher = platform::SystemProcessLauncher(),
        .toolFolder = process::OwnToolFolder(),
        .clock = platform::SystemWallClock(),
        .cloudClient = cloud::ProcessCloudClient(),
        .log = nullptr,
    };
    return environment;
}
