#include "process/process_tool.h"

#include "platform/testing/fake_process_launcher.h"
#include "process/testing/recording_log_sink.h"

#include <gtest/gtest.h>

namespace RunProcess {
namespace {

using platform::testing::FakeChildScript;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::wstring>;

class ProcessToolTest : public ::testing::Test {
protected:
    std::uint32_t Run(const wchar_t* executable, const wchar_t* arguments,
                      const wchar_t* folder = L"F") {
        return ProcessTool::RunProcess(launcher, log, executable, arguments, folder, &exitCode);
    }

    platform::testing::FakeProcessLauncher launcher;
    process::testing::RecordingLogSink log;
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
    EXPECT_TRUE(log.lines.empty());
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
         {L"4|RunProcess::ProcessTool::RunProcess|CreateProcess failed for %s with error code "
          L"%d|C:\\missing.exe|2"}},
    };
    for (const Case& c : cases) {
        launcher.script = c.script;
        launcher.calls.clear();
        log.lines.clear();
        exitCode = 77;
        EXPECT_EQ(Run(L"C:\\missing.exe", L"a"), c.result);
        EXPECT_EQ(exitCode, c.exitCode);
        EXPECT_EQ(launcher.calls, c.calls);
        EXPECT_EQ(log.lines, c.lines);
    }
}

} // namespace
} // namespace RunProcess
