#include "diag/function_tracer.h"
#include "diag/log_test_support.h"
#include "platform/environment.h"

#include <gtest/gtest.h>

#include <string>

namespace logging {
namespace {

using testing::HeldLog;
using testing::Tail;

std::uint32_t g_now = 0;
std::uint32_t FakeClock() {
    return g_now;
}

class FunctionTracerTest : public ::testing::Test {
protected:
    void SetUp() override { FunctionTracer::SetClockForTesting(FakeClock); }
    void TearDown() override { FunctionTracer::SetClockForTesting(nullptr); }
};

TEST_F(FunctionTracerTest, CutsLongNamesToTheirBuffers) {
    std::wstring name(300, L'n');
    HeldLog log;
    {
        FunctionTracer tracer(name.c_str());
        EXPECT_EQ(std::wstring(tracer.Label()), std::wstring(257, L'n') + L"()");
        EXPECT_EQ(std::wstring(tracer.Name()), std::wstring(259, L'n'));
    }
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Tail(lines[0]), std::string(259, 'n') + ": -> " + std::string(257, 'n') + "()");
}

TEST_F(FunctionTracerTest, WritesEntryAndExitAroundTheScopeWithDepthAndElapsedTime) {
    HeldLog log;
    g_now = 1000;
    {
        NX_TRACE_SCOPE(L"Agent::Init");
        NX_LOG_INFO(L"Agent::Init", L"inside");
        g_now = 1250;
    }
    g_now = 0xFFFFFFF0u;
    {
        FunctionTracer tracer(L"Wrap");
        g_now = 0x10; // the 32-bit clock wrapped
    }
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(Tail(lines[0]), "Agent::Init: -> Agent::Init()");
    EXPECT_EQ(Tail(lines[1]), "..Agent::Init: inside");
    EXPECT_EQ(Tail(lines[2]), "Agent::Init: <- Agent::Init() [250]");
    EXPECT_EQ(Tail(lines[4]), "Wrap: <- Wrap() [32]");
}

TEST_F(FunctionTracerTest, WritesWithoutAnyHolder) {
    platform::testing::TempDir dir;
    std::wstring path = dir.File(L"unheld.log");
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", path.c_str()));
    ASSERT_FALSE(IsLoggerHeld());
    {
        FunctionTracer tracer(L"Unheld");
        NX_LOG_INFO(L"Unheld", L"a statement without a holder stays silent");
    }
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", nullptr);
    EXPECT_FALSE(IsLoggerHeld());
    std::vector<std::string> lines = testing::ReadLines(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Tail(lines[0]), "Unheld: -> Unheld()");
    EXPECT_EQ(Tail(lines[1]), "Unheld: <- Unheld() [0]");
}

} // namespace
} // namespace logging
