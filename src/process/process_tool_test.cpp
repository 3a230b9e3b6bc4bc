#include "process/process_tool.h"

#include "diag/testing/recording_log_sink.h"
#include "platform/testing/fake_process_launcher.h"

#include <gtest/gtest.h>

namespace RunProcess {
namespace {

using platform_testing::FakeChildScript;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::wstring>;

class ProcessToolTest : public ::testing::Test {
protected:
    std::uint32_t Run(const wchar_t* executable, const wchar_t* arguments,
                      const wchar_t* folder = L"F") {
        return ProcessTool::RunProcess(launcher, &log, executable, arguments, folder, &exitCode);
    }

    platform_testing::FakeProcessLauncher launcher;
    diag_testing::RecordingLogSink log;
    std::uint32_t exitCode = 77;
};

TEST_F(ProcessToolTest, BadArgumentsGive87AndStartAndLogNothing) {
    // Quote, name, quote, blank: 4 characters around the name; 1023 fit beside the terminator.
    const std::wstring fits(1023 - 4, L'a');
    const std::wstring tooLong = fits + L"b";
    EXPECT_EQ(Run(nullptr, L"a"), 87u);
    EXPECT_EQ(Run(L"x.exe", nullptr), 87u);
    EXPECT_EQ(Run(L"x.exe", L"a", nullptr), 87u);
    EXPECT_EQ(Run(L"t", tooLong.c_str()), 87u);
    EXPECT_TRUE(launcher.calls.empty());
    EXPECT_EQ(Run(L"t", fits.c_str()), 0u);
    EXPECT_EQ(launcher.starts.at(0).commandLine.size(), 1023u);
    EXPECT_TRUE(log.Texts().empty());
}

TEST_F(ProcessToolTest, EachOutcomeOfTheChild) {
    struct Case {
        FakeChildScript script;
        std::uint32_t result;
        std::uint32_t exitCode;
        Calls calls;
        Lines lines;
    };
    const Case cases[] = {
        {{.exitCode = 5}, 0, 5, {"start", "wait", "exit code", "close"}, {}},
        // An exit code that cannot be read still counts as a run; the caller's value stays.
        {{.exitCodeError = 6, .exitCode = 9}, 0, 77, {"start", "wait", "exit code", "close"}, {}},
        {{.waitError = 6}, 1627, 77, {"start", "wait", "terminate 4294967295", "close"}, {}},
        {{.startError = 2},
         1627,
         77,
         {"start"},
         {L"4|RunProcess::ProcessTool::RunProcess|CreateProcess failed for C:\\missing.exe with "
          L"error code 2"}},
    };
    for (const Case& c : cases) {
        launcher.script = c.script;
        launcher.calls.clear();
        log.Clear();
        exitCode = 77;
        EXPECT_EQ(Run(L"C:\\missing.exe", L"a"), c.result);
        EXPECT_EQ(exitCode, c.exitCode);
        EXPECT_EQ(launcher.calls, c.calls);
        EXPECT_EQ(log.Texts(), c.lines);
    }
}

} // namespace
} // namespace RunProcess
