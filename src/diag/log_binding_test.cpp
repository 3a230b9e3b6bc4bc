#include "diag/log_binding.h"
#include "diag/log_test_support.h"

#include <gtest/gtest.h>

namespace logging {
namespace {

using testing::HeldLog;
using testing::Tail;

int g_evaluated = 0;

int CountEvaluation() {
    return ++g_evaluated;
}

class LogBindingTest : public ::testing::Test {
protected:
    void TearDown() override {
        SetLogModuleNameForTesting(nullptr);
        EXPECT_FALSE(IsLoggerHeld());
        EXPECT_EQ(g_logHolder.Instance(), nullptr) << "unloaded with the last holder";
    }
};

TEST_F(LogBindingTest, WithoutAHolderAStatementEvaluatesNothing) {
    g_evaluated = 0;
    NX_LOG_ERROR(L"F", L"%d", CountEvaluation());
    EXPECT_EQ(g_evaluated, 0);
    EXPECT_EQ(g_logHolder.Instance(), nullptr) << "no module loaded for a silent statement";
}

TEST_F(LogBindingTest, AHeldLoggerWritesEachStatementOnce) {
    HeldLog log;
    g_evaluated = 0;
    NX_LOG_INFO(L"Agent::Work", L"value %d of %s and %S", CountEvaluation(), L"wide", "narrow");
    NX_LOG_TRACE(L"Agent::Work", L"trace");
    EXPECT_EQ(g_evaluated, 1);
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(Tail(lines[0]), "Agent::Work: value 1 of wide and narrow");
    EXPECT_NE(lines[0].find(" INFO "), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" TRACE "), std::string::npos) << lines[1];
}

TEST_F(LogBindingTest, AMissingModuleLeavesTheStub) {
    SetLogModuleNameForTesting(L"nexilo_absent_tracelog.dll");
    LogHandle handle;
    CLogDLL* log = handle.Acquire();
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->m_module, nullptr);
    EXPECT_EQ(log->LogSetPath, nullptr);
    const std::uint32_t level = kLogLevelInfo;
    EXPECT_EQ(log->LogWrite(0, &level, nullptr, L"F", L"%s", L"dropped"), kLogWriteMissing);
    g_evaluated = 0;
    NX_LOG_INFO(L"F", L"%d", CountEvaluation());
    EXPECT_EQ(g_evaluated, 1) << "held, so the statement runs and reaches the stub";
}

TEST_F(LogBindingTest, AModuleWithoutLogWriteGetsTheStubAndKeepsItsOtherExports) {
    SetLogModuleNameForTesting(L"tracelog_nowrite.dll");
    LogHandle handle;
    CLogDLL* log = handle.Acquire();
    ASSERT_NE(log, nullptr);
    ASSERT_NE(log->m_module, nullptr);
    EXPECT_NE(log->LogSetPath, nullptr);
    EXPECT_NE(log->LogRemoveModule, nullptr);
    const std::uint32_t level = kLogLevelError;
    EXPECT_EQ(log->LogWrite(0, &level, nullptr, L"F", L"%s", L"dropped"), kLogWriteMissing);
    NX_LOG_ERROR(L"F", L"still %s", L"silent");
}

} // namespace
} // namespace logging
