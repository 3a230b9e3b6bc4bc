#include "diag/function_tracer.h"

#include "diag/testing/held_log.h"
#include "diag/testing/recording_log_sink.h"
#include "platform/environment.h"

#include <gtest/gtest.h>

#include <string>

namespace logging {
namespace {

using diag_testing::HeldLog;
using diag_testing::RecordingLogSink;
using diag_testing::Tail;

std::uint32_t g_now = 0;
std::uint32_t FakeClock() noexcept {
    return g_now;
}

TEST(FunctionTracerTest, CutsLongNamesToTheirBuffers) {
    const std::wstring name(300, L'n');
    RecordingLogSink sink;
    {
        FunctionTracer tracer(name.c_str(), &sink, FakeClock);
        EXPECT_EQ(std::wstring(tracer.Label()), std::wstring(257, L'n') + L"()");
        EXPECT_EQ(std::wstring(tracer.Name()), std::wstring(259, L'n'));
    }
    ASSERT_EQ(sink.Lines().size(), 2u);
    EXPECT_EQ(sink.Lines()[0].function, std::wstring(259, L'n'));
    EXPECT_EQ(sink.Lines()[0].message, L"-> " + std::wstring(257, L'n') + L"()");
}

TEST(FunctionTracerTest, WritesEntryAndExitAroundTheScopeWithDepthAndElapsedTime) {
    RecordingLogSink sink;
    g_now = 1000;
    {
        const FunctionLog log(L"Agent::Init", &sink);
        FunctionTracer tracer(log, FakeClock);
        NX_LOG_INFO(log, L"inside");
        g_now = 1250;
    }
    g_now = 0xFFFFFFF0u;
    {
        FunctionTracer tracer(L"Wrap", &sink, FakeClock);
        g_now = 0x10; // the 32-bit clock wrapped
    }
    const struct {
        std::uint32_t level;
        std::int32_t depthChange;
        const wchar_t* text;
    } expected[] = {
        {kLogLevelTrace, +1, L"Agent::Init|-> Agent::Init()"},
        {kLogLevelInfo, 0, L"Agent::Init|inside"},
        {kLogLevelTrace, -1, L"Agent::Init|<- Agent::Init() [250]"},
        {kLogLevelTrace, +1, L"Wrap|-> Wrap()"},
        {kLogLevelTrace, -1, L"Wrap|<- Wrap() [32]"},
    };
    const auto lines = sink.Lines();
    ASSERT_EQ(lines.size(), std::size(expected));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].level, expected[i].level) << i;
        EXPECT_EQ(lines[i].depthChange, expected[i].depthChange) << i;
        EXPECT_EQ(lines[i].function + L"|" + lines[i].message, expected[i].text);
    }
}

TEST(FunctionTracerTest, WritesToTheModuleWithoutAnyHolder) {
    platform_testing::TempDir dir;
    const std::wstring path = dir.File(L"unheld.log");
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", path.c_str()));
    ASSERT_FALSE(IsLoggerHeld());
    {
        const FunctionLog log(L"Unheld");
        FunctionTracer tracer(log, FakeClock);
        NX_LOG_INFO(log, L"a statement without a holder stays silent");
    }
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", nullptr);
    EXPECT_FALSE(IsLoggerHeld());
    const std::vector<std::string> lines = diag_testing::ReadLogLines(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Tail(lines[0]), "Unheld: -> Unheld()");
    EXPECT_EQ(Tail(lines[1]), "Unheld: <- Unheld() [0]") << "the depth is back to 0";
}

TEST(FunctionTracerTest, TheModuleIndentsTheLinesInsideATracedScope) {
    HeldLog held;
    {
        const FunctionLog log(L"Agent::Init");
        FunctionTracer tracer(log, FakeClock);
        NX_LOG_INFO(log, L"inside");
    }
    const std::vector<std::string> lines = held.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(Tail(lines[1]), "..Agent::Init: inside");
}

} // namespace
} // namespace logging
