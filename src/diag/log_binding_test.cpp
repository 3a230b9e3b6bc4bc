#include "diag/log_binding.h"

#include "diag/log.h"
#include "diag/testing/held_log.h"
#include "diag/testing/recording_log_sink.h"

#include <gtest/gtest.h>

namespace logging {
namespace {

using diag_testing::HeldLog;
using diag_testing::Tail;

int g_evaluated = 0;

int CountEvaluation() {
    return ++g_evaluated;
}

class LogBindingTest : public ::testing::Test {
protected:
    void SetUp() override { g_evaluated = 0; }
    void TearDown() override {
        EXPECT_FALSE(IsLoggerHeld());
        EXPECT_EQ(g_logHolder.Instance(), nullptr) << "unloaded with the last holder";
    }
};

TEST_F(LogBindingTest, WithoutAHolderAStatementEvaluatesNothing) {
    const FunctionLog log(L"F");
    EXPECT_FALSE(log.IsOn());
    NX_LOG_ERROR(log, L"%d", CountEvaluation());
    EXPECT_EQ(g_evaluated, 0);
    EXPECT_EQ(g_logHolder.Instance(), nullptr) << "no module loaded for a silent statement";
}

TEST_F(LogBindingTest, AHeldLoggerWritesEachStatementOnceUnderItsFunctionsName) {
    HeldLog held;
    const FunctionLog log(L"Agent::Work");
    NX_LOG_INFO(log, L"value %d of %s and %S", CountEvaluation(), L"wide", "narrow");
    NX_LOG_TRACE(log, L"trace");
    EXPECT_EQ(g_evaluated, 1);
    std::vector<std::string> lines = held.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Tail(lines[0]), "Agent::Work: value 1 of wide and narrow");
    EXPECT_NE(lines[0].find(" INFO "), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" TRACE "), std::string::npos) << lines[1];
}

TEST_F(LogBindingTest, ASinkTakesEveryLineInsteadOfTheModule) {
    diag_testing::RecordingLogSink sink;
    const FunctionLog log(L"GetInfo", &sink);
    EXPECT_TRUE(log.IsOn()) << "a sink listens without anyone holding the module";
    NX_LOG_ERROR(log, L"error query %s [%d]", L"nexilo/user_info", CountEvaluation());
    NX_LOG_WARNING(log, L"%S", "narrow");
    EXPECT_EQ(sink.Texts(),
              (std::vector<std::wstring>{L"4|GetInfo|error query nexilo/user_info [1]",
                                         L"8|GetInfo|narrow"}));
    EXPECT_EQ(g_logHolder.Instance(), nullptr);
}

TEST_F(LogBindingTest, AMissingModuleOrLogWriteLeavesTheStub) {
    // The module absent, then a module without LogWrite that keeps its other exports.
    for (const auto& [name, loaded] : {std::pair(L"nexilo_absent_tracelog.dll", false),
                                       std::pair(L"tracelog_nowrite.dll", true)}) {
        SCOPED_TRACE(loaded);
        CLogDLL log(name);
        EXPECT_EQ(log.m_module != nullptr, loaded);
        EXPECT_EQ(log.LogSetPath != nullptr, loaded);
        const std::uint32_t level = kLogLevelError;
        EXPECT_EQ(log.LogWrite(0, &level, nullptr, L"F", L"%s", L"dropped"), kLogWriteMissing);
    }
}

} // namespace
} // namespace logging
