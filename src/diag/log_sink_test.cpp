#include "diag/log_sink.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace logging {
namespace {

class LogSinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_log.Init([this](const std::wstring& line) { m_lines.push_back(line); }, L"Cloudcomm");
    }

    Log m_log;
    std::vector<std::wstring> m_lines;
};

TEST_F(LogSinkTest, WrapsTheMessageInTheFixedPrefix) {
    m_log.LogInfo(L"%s is not loaded (%S, %d)", L"cvzc", "narrow", 7);
    ASSERT_EQ(m_lines.size(), 1u);
    EXPECT_EQ(m_lines[0], L"[Cloudcomm][Log::LogInfo][23] cvzc is not loaded (narrow, 7)");
}

TEST_F(LogSinkTest, CutsTheMessageAfter1022Characters) {
    const std::wstring prefix = L"[Cloudcomm][Log::LogInfo][23] ";
    std::wstring exact(1022, L'a');
    exact.back() = L'z';
    m_log.LogInfo(L"%s", exact.c_str());
    std::wstring longer = exact + L'!';
    m_log.LogInfo(L"%s", longer.c_str());
    ASSERT_EQ(m_lines.size(), 2u);
    EXPECT_EQ(m_lines[0], prefix + exact);
    EXPECT_EQ(m_lines[1], prefix + exact) << "the 1023rd character is dropped";
}

TEST_F(LogSinkTest, CutsTheLineAfter1534Characters) {
    m_log.Init([this](const std::wstring& line) { m_lines.push_back(line); },
               std::wstring(1600, L'N'));
    m_log.LogInfo(L"message");
    ASSERT_EQ(m_lines.size(), 1u);
    EXPECT_EQ(m_lines[0], L"[" + std::wstring(1533, L'N'));
}

TEST(LogSinkWithoutSinkTest, ThrowsBadFunctionCall) {
    Log log;
    EXPECT_THROW(log.LogInfo(L"nobody listens"), std::bad_function_call);
}

} // namespace
} // namespace logging
