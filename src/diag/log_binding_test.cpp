#include "diag/log_binding.h"
#include "diag/log_test_support.h"

#include <gtest/gtest.h>

namespace logging {
namespace {

int g_evaluated = 0;

int CountEvaluation() {
    return ++g_evaluated;
}

class LogBindingTest : public ::testing::Test {
protected:
    void SetUp() override { g_evaluated = 0; }
    void TearDown() override {
        SetLogModuleNameForTesting(nullptr);
        EXPECT_FALSE(IsLoggerHeld());
        EXPECT_EQ(g_logHolder.Instance(), nullptr) << "unloaded with the last holder";
    }
};

TEST_F(LogBindingTest, WithoutAHolderAStatementEvaluatesNothing) {
    NX_LOG_ERROR(L"F", L"%d", CountEvaluation());
    EXPECT_EQ(g_evaluated, 0);
    EXPECT_EQ(g_logHolder.Instance(), nullptr) << "no module loaded for a silent statement";
}

TEST_F(LogBindingTest, AHeldLoggerWritesEachStatementOnce) {
    testing::HeldLog log;
    NX_LOG_INFO(L"Agent::Work", L"value %d of %s and %S", CountEvaluation(), L"wide", "narrow");
    NX_LOG_TRACE(L"Agent::Work", L"trace");
    EXPECT_EQ(g_evaluated, 1);
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(testing::Tail(lines[0]), "Agent::Work: value 1 of wide and narrow");
    EXPECT_NE(lines[0].find(" INFO "), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" TRACE "), std::string::npos) << lines[1];
}

TEST_F(LogBindingTest, AMissingModuleOrLogWriteLeavesTheStub) {
    // The module absent, then a module without LogWrite that keeps its other exports.
    for (const auto& [name, loaded] : {std::pair(L"nexilo_absent_tracelog.dll", false),
                                       std::pair(L"tracelog_nowrite.dll", true)}) {
        SCOPED_TRACE(loaded);
        SetLogModuleNameForTesting(name);
        LogHandle handle;
        CLogDLL* log = handle.Acquire();
        ASSERT_NE(log, nullptr);
        EXPECT_EQ(log->m_module != nullptr, loaded);
        EXPECT_EQ(log->LogSetPath != nullptr, loaded);
        const std::uint32_t level = kLogLevelError;
        EXPECT_EQ(log->LogWrite(0, &level, nullptr, L"F", L"%s", L"dropped"), kLogWriteMissing);
        g_evaluated = 0;
        NX_LOG_ERROR(L"F", L"%d", CountEvaluation());
        EXPECT_EQ(g_evaluated, 1) << "held, so the statement runs and reaches the stub";
    }
}

} // namespace
} // namespace logging
