#include "process/process_tool.h"

#include "platform/testing/fake_process_launcher.h"
#include "platform/testing/temp_dir.h"
#include "process/testing/recording_log_sink.h"

#include <gtest/gtest.h>

namespace RunProcess {
namespace {

using platform::testing::FakeProcessLauncher;
using process::testing::RecordingLogSink;
using Calls = std::vector<std::string>;

class ProcessToolTest : public ::testing::Test {
protected:
    std::uint32_t Run(const wchar_t* executable, const wchar_t* arguments,
                      const wchar_t* folder = L"F") {
        return ProcessTool::RunProcess(launcher, log, executable, arguments, folder, &exitCode);
    }

    FakeProcessLauncher launcher;
    RecordingLogSink log;
    std::uint32_t exitCode = 0;
};

TEST_F(ProcessToolTest, NullStringGives87AndStartsNothing) {
    EXPECT_EQ(Run(nullptr, L"a"), 87u);
    EXPECT_EQ(Run(L"x.exe", nullptr), 87u);
    EXPECT_EQ(Run(L"x.exe", L"a", nullptr), 87u);
    EXPECT_TRUE(launcher.calls.empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ProcessToolTest, QuotesTheProgramAndPastesTheArgumentsAsTheyAre) {
    EXPECT_EQ(Run(L"C:\\a b\\t.exe", L"--id=\"x\"y\"", L"C:\\a b\\"), 0u);
    EXPECT_EQ(Run(L"t.exe", L""), 0u);
    ASSERT_EQ(launcher.starts.size(), 2u);
    EXPECT_EQ(launcher.starts[0].commandLine, L"\"C:\\a b\\t.exe\" --id=\"x\"y\"");
    EXPECT_EQ(launcher.starts[0].workingDirectory, L"C:\\a b\\");
    EXPECT_EQ(launcher.starts[0].streams, platform::ChildStreams::kInherit);
    EXPECT_EQ(launcher.starts[1].commandLine, L"\"t.exe\" ");
}

TEST_F(ProcessToolTest, CommandLineThatDoesNotFitStartsNothingAndLogsNothing) {
    // Quote, name, quote, blank: 4 characters around the name; 1023 fit beside the terminator.
    std::wstring fits(1023 - 4, L'a');
    EXPECT_EQ(Run(L"t", fits.c_str()), 0u);
    std::wstring tooLong = fits + L"b";
    EXPECT_EQ(Run(L"t", tooLong.c_str()), 87u);
    EXPECT_EQ(launcher.starts.size(), 1u);
    EXPECT_EQ(launcher.starts[0].commandLine.size(), 1023u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ProcessToolTest, StartFailureIsLoggedOnceAndLeavesTheExitCode) {
    launcher.script.startError = 2;
    exitCode = 77;
    EXPECT_EQ(Run(L"C:\\missing.exe", L"a"), 1627u);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_EQ(log.lines, std::vector<std::wstring>{
                             L"4|RunProcess::ProcessTool::RunProcess|CreateProcess failed for %s "
                             L"with error code %d|C:\\missing.exe|2"});
}

TEST_F(ProcessToolTest, FailedWaitTerminatesTheChildWithoutALogLine) {
    launcher.script.waitError = 6;
    EXPECT_EQ(Run(L"t.exe", L"a"), 1627u);
    EXPECT_EQ(launcher.calls, (Calls{"start", "wait", "terminate 4294967295", "close"}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ProcessToolTest, UnreadableExitCodeStillCountsAsARun) {
    launcher.script.exitCodeError = 6;
    launcher.script.exitCode = 9;
    EXPECT_EQ(Run(L"t.exe", L"a"), 0u);
    EXPECT_EQ(exitCode, 0u);
    EXPECT_EQ(launcher.calls, (Calls{"start", "wait", "exit code", "close"}));
}

TEST_F(ProcessToolTest, ChildsExitCodeIsHandedBack) {
    launcher.script.exitCode = 5;
    EXPECT_EQ(Run(L"t.exe", L"a"), 0u);
    EXPECT_EQ(exitCode, 5u);
    EXPECT_TRUE(log.lines.empty());
}

TEST(ProcessToolSystemTest, MissingProgramLogsTheSystemsCode) {
    platform::testing::TempDir temp;
    RecordingLogSink log;
    std::wstring missing = temp.File(L"missing.exe");
    std::uint32_t exitCode = 77;
    EXPECT_EQ(ProcessTool::RunProcess(platform::SystemProcessLauncher(), log, missing.c_str(), L"",
                                      temp.Path().wstring().c_str(), &exitCode),
              1627u);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_EQ(log.lines, std::vector<std::wstring>{
                             L"4|RunProcess::ProcessTool::RunProcess|CreateProcess failed for %s "
                             L"with error code %d|" +
                             missing + L"|2"});
}

} // namespace
} // namespace RunProcess
