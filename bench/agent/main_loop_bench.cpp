// The main loop's reaction time: from the node service's signal to the subscriber's OnEvent,
// beside one bare run of the node tool in the same run. The wake-up runs the node tool once
// itself, so the ratio shows what the loop adds to that run (the goal: at most 2x).
#include "agent/nexilo_agent.h"
#include "agent/testing/fake_host.h"
#include "platform/environment.h"
#include "platform/registry_sandbox.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"
#include "process/node_tool.h"
#include "process/user_changed_event.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>

namespace {

class Arrivals final : public cv::hostkit::Nexilo::INexiloAgent::IEvents {
public:
    void OnEvent(const wchar_t*, const cv::Value&) override {
        std::lock_guard lock(m_mutex);
        ++m_count;
        m_arrived.notify_all();
    }
    std::uint64_t Count() {
        std::lock_guard lock(m_mutex);
        return m_count;
    }
    bool AwaitBeyond(std::uint64_t count) {
        std::unique_lock lock(m_mutex);
        return m_arrived.wait_for(lock, std::chrono::seconds(30), [&] { return m_count > count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::uint64_t m_count = 0;
};

// A signed-in user in a dev kit home of its own, an event name of its own, and the real
// listener on the system's named event.
struct Setup {
    Setup() {
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", home.Path().wstring().c_str());
        platform::WriteEnvironmentVariable(
            process::kEventNamespaceVariable,
            (L"bench-" +
             std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count()))
                .c_str());
        platform_testing::WriteFile(home.Path() / "node" / "state.json",
                                    R"({"user": {"user_token": "T1", "device_id": "D1"}})");
        host.manager.settings = &settings;
    }

    platform_testing::TempDir home;
    platform::RegistrySandbox registry;
    cloud::CloudClientUses cloudClient{cloud::kCloudClientModule};
    agent_testing::FakeSettings settings;
    agent_testing::FakeHost host;
    const AgentEnvironment environment{
        .registry = registry.Get(),
        .launcher = platform::SystemProcessLauncher(),
        .toolFolder = platform_testing::TestBinFolder().wstring() +
                      static_cast<wchar_t>(std::filesystem::path::preferred_separator),
        .clock = platform::SystemWallClock(),
        .cloudClient = cloudClient,
        .pushLoader = nxp::SystemCloudClientLoader(),
        .events = platform::SystemNamedEvents(),
        .userChangedEventName = process::UserChangedEventName(),
        .log = nullptr,
    };
};

Setup* g_setup = nullptr;

void BM_NodeToolRun(benchmark::State& state) {
    process::NodeToolClient tool(g_setup->environment.toolFolder, g_setup->environment.launcher,
                                 nullptr);
    for (auto _ : state) {
        std::wstring deviceId;
        std::wstring userToken;
        if (!tool.GetNexiloInfo(deviceId, userToken)) {
            state.SkipWithError("the node tool did not answer");
            return;
        }
    }
}
BENCHMARK(BM_NodeToolRun)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SignalToOnEvent(benchmark::State& state) {
    Arrivals arrivals;
    NexiloAgent agent(g_setup->environment);
    agent.RegisterEvents(&arrivals);
    if (agent.Init(&g_setup->host) != 0) {
        state.SkipWithError("the agent did not start");
        return;
    }
    platform::NamedEventResult node =
        platform::SystemNamedEvents().CreateOrOpen(g_setup->environment.userChangedEventName);
    for (auto _ : state) {
        const std::uint64_t before = arrivals.Count();
        node.event->Set();
        if (!arrivals.AwaitBeyond(before)) {
            state.SkipWithError("no event within 30 seconds");
            break;
        }
    }
    agent.UnInit();
    agent.UnregisterEvents(&arrivals);
}
BENCHMARK(BM_SignalToOnEvent)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    Setup setup;
    g_setup = &setup;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    platform::DiscardNamedEvent(setup.environment.userChangedEventName);
    return 0;
}
