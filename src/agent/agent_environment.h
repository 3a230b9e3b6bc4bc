// AgentEnvironment: everything through which the agent reaches the system, in one object.
//
// The module's composition root builds the production one once (module/composition_root.h) and
// hands it to every agent it makes, the factory's and the flat exports' transient ones alike;
// tests build one with fakes (agent/testing/test_environment.h). An agent keeps a reference to
// its environment, which must outlive it. The capabilities are used from the agent's threads as
// their own headers allow.
//
// A new capability is one member here, one line in the composition root and one in the test
// environment; docs/architecture.md says where its abstract class and its fake go.
#pragma once

#include "cloud/cloud_client_table.h"
#include "cloud/nexilo_push.h"
#include "diag/log.h"
#include "platform/child_process.h"
#include "platform/named_event.h"
#include "platform/registry.h"
#include "platform/wall_clock.h"

#include <string>

struct AgentEnvironment {
    // The system's registry: the installed version, later the fingerprint.
    platform::Registry& registry;
    // Starts the node control tool.
    platform::ProcessLauncher& launcher;
    // The node control tool's folder, ending in a separator: the module's own folder.
    std::wstring toolFolder;
    // The calendar time.
    const platform::WallClock& clock;
    // The counted uses of the cloud client library that every agent of the module shares.
    cloud::CloudClientUses& cloudClient;
    // How the push client loads its private copy of the cloud client library.
    nxp::CloudClientLoader pushLoader;
    // The node service's user-changed event, and the name under which both sides meet
    // (process/user_changed_event.h).
    platform::NamedEvents& events;
    std::wstring userChangedEventName;
    // Where the agent's lines go; null: the logging module.
    logging::LogSink* log = nullptr;
};
