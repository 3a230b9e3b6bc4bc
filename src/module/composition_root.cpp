#include "module/composition_root.h"

#include "process/node_tool.h"
#include "process/user_changed_event.h"

const AgentEnvironment& ProductionEnvironment() {
    static const AgentEnvironment environment{
        .registry = platform::SystemRegistry(),
        .launcher = platform::SystemProcessLauncher(),
        .toolFolder = process::OwnToolFolder(),
        .clock = platform::SystemWallClock(),
        .cloudClient = cloud::ProcessCloudClient(),
        .pushLoader = nxp::SystemCloudClientLoader(),
        .events = platform::SystemNamedEvents(),
        .userChangedEventName = process::UserChangedEventName(),
        .log = nullptr,
    };
    return environment;
}
