// An agent environment for tests: a private registry, the system's launcher with the node tool of
// the build (the dev kit's nodectl beside the tests), a clock the test sets, a cloud library
// count of its own, a user-changed event the test drives, and a log that records every line. Tests
// that run the dev kit's stand-ins also need a platform_testing::ScratchHome for their state.
#pragma once

#include "agent/agent_environment.h"
#include "diag/testing/recording_log_sink.h"
#include "platform/registry_sandbox.h"
#include "platform/testing/fake_named_event.h"
#include "platform/testing/fake_wall_clock.h"
#include "platform/testing/test_bin.h"

#include <filesystem>

namespace agent_testing {

class TestEnvironment {
public:
    explicit TestEnvironment(std::wstring cloudLibrary = cloud::kCloudClientModule)
        : cloudLibrary(cloudLibrary), cloudClient(std::move(cloudLibrary)) {}

    const std::wstring cloudLibrary;
    platform::RegistrySandbox registry;
    platform_testing::FakeWallClock clock{1'700'000'000};
    cloud::CloudClientUses cloudClient;
    diag_testing::RecordingLogSink log;
    // The listener waits on this event: tests signal it and let its time-outs run out.
    platform_testing::FakeNamedEvents events;
    const AgentEnvironment environment{
        .registry = registry.Get(),
        .launcher = platform::SystemProcessLauncher(),
        .toolFolder = platform_testing::TestBinFolder().wstring() +
                      static_cast<wchar_t>(std::filesystem::path::preferred_separator),
        .clock = clock,
        .cloudClient = cloudClient,
        .pushLoader = nxp::ModuleCloudClientLoader(cloudLibrary),
        .events = events,
        .userChangedEventName = L"Global\\{test}",
        .log = &log,
    };
};

} // namespace agent_testing
