#include "diag/nxp_log.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace logging {
namespace {

TEST(LogSinkTest, WrapsTheMessageInTheFixedPrefixAndCutsIt) {
    std::vector<std::wstring> lines;
    Log log;
    EXPECT_THROW(log.LogInfo(L"nobody listens"), std::bad_function_call);
    log.Init([&](const std::wstring& line) { lines.push_back(line); }, L"Cloudcomm");
    log.LogInfo(L"%s is not loaded (%S, %d)", L"cvzc", "narrow", 7);
    const std::wstring exact = std::wstring(1021, L'a') + L'z';
    log.LogInfo(L"%s", exact.c_str());
    log.LogInfo(L"%s", (exact + L'!').c_str()); // the 1023rd character is dropped
    log.Init([&](const std::wstring& line) { lines.push_back(line); }, std::wstring(1600, L'N'));
    log.LogInfo(L"message"); // the line is cut after 1534 characters
    const std::wstring prefix = L"[Cloudcomm][Log::LogInfo][23] ";
    EXPECT_EQ(lines,
              (std::vector<std::wstring>{prefix + L"cvzc is not loaded (narrow, 7)", prefix + exact,
                                         prefix + exact, L"[" + std::wstring(1533, L'N')}));
}

} // namespace
} // namespace logging
