#include "platform/child_process.h"

#include "platform/build_config.h"
#include "platform/command_line.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"
#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <filesystem>

#if defined(NEXILO_OS_POSIX)
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#endif

namespace platform {
namespace {

std::wstring Helper() {
    return platform_testing::TestProgram("nexilo_child_helper").wstring();
}

ChildStart Plain(const std::wstring& arguments) {
    return ChildStart{L"\"" + Helper() + L"\" " + arguments, std::nullopt, ChildStreams::kInherit};
}

ChildStart Captured(std::wstring commandLine) {
    return ChildStart{std::move(commandLine), std::nullopt, ChildStreams::kCapture};
}

std::uint32_t ExitCodeOf(ChildProcess& child) {
    EXPECT_EQ(child.Wait(), kErrorSuccess);
    std::uint32_t exitCode = 12345;
    EXPECT_EQ(child.GetExitCode(exitCode), kErrorSuccess);
    return exitCode;
}

// Starts, waits, checks the exit code and reads once, as the capture route of the node tool does.
std::string RunCaptured(const ChildStart& start) {
    StartResult started = SystemProcessLauncher().Start(start);
    EXPECT_EQ(started.error, kErrorSuccess);
    if (!started.child) {
        return {};
    }
    EXPECT_EQ(ExitCodeOf(*started.child), 0u);
    std::string bytes;
    EXPECT_EQ(started.child->ReadOutputOnce(bytes), kErrorSuccess);
    return bytes;
}

// What the helper prints for the arguments of `line` after the first `skip`.
std::string Lines(const std::wstring& line, std::size_t skip) {
    std::string text;
    std::vector<std::wstring> args = SplitCommandLine(line);
    for (std::size_t i = skip; i < args.size(); ++i) {
        text += std::filesystem::path(args[i]).string() + "\n";
    }
    return text;
}

TEST(ChildProcessTest, PlainChildReportsItsExitCodeAndHasNothingToRead) {
    StartResult started = SystemProcessLauncher().Start(Plain(L"exit 5"));
    ASSERT_TRUE(started.child) << started.error;
    EXPECT_NE(started.child->Id(), 0u);
    EXPECT_EQ(ExitCodeOf(*started.child), 5u);
    std::string bytes;
    EXPECT_EQ(started.child->ReadOutputOnce(bytes), kErrorInvalidHandle);
}

TEST(ChildProcessTest, StartFailsForAMissingProgramOrFolder) {
    platform_testing::TempDir temp;
    StartResult missing =
        SystemProcessLauncher().Start(Captured(L"\"" + temp.File(L"nothing.exe") + L"\" x"));
    EXPECT_EQ(missing.error, kErrorFileNotFound);
    EXPECT_EQ(missing.failedStep, StartStep::kCreateProcess);
    EXPECT_FALSE(missing.child);

    ChildStart start = Plain(L"exit 0");
    start.workingDirectory = temp.File(L"no such folder");
    StartResult noFolder = SystemProcessLauncher().Start(start);
    EXPECT_EQ(noFolder.error, 267u);
    EXPECT_EQ(noFolder.failedStep, StartStep::kCreateProcess);
}

TEST(ChildProcessTest, CaptureReadsOutputAndErrorOnceUpToTheLimit) {
    const std::pair<const wchar_t*, std::string> cases[] = {
        {L"outerr TOKEN DEVICE", "TOKENDEVICE"},
        {L"bytes 4096", std::string(kOutputReadLimit, 'x')},
#if defined(NEXILO_OS_POSIX)
        // Linux pipes hold 64 KiB, so the child can end before anything is read.
        {L"bytes 5000", std::string(kOutputReadLimit, 'x')},
#endif
    };
    for (const auto& [arguments, output] : cases) {
        EXPECT_EQ(RunCaptured(Captured(Helper() + L" " + arguments)), output);
    }
}

TEST(ChildProcessTest, CaptureRunsInTheGivenFolder) {
    platform_testing::TempDir temp;
    ChildStart start = Captured(Helper() + L" cwd");
    start.workingDirectory = temp.Path().wstring();
    std::string folder = RunCaptured(start);
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(folder), temp.Path())) << folder;
}

TEST(ChildProcessTest, ChildSeesTheArgumentsTheRuntimeRulesGive) {
    const std::wstring line = Helper() + L" args --key=\"globalex\" --field_name=\"anon_id\" "
                                         L"a\\\\b a\\\\\\\\\"b c\" a\\\\\\\"b \"\" \"x\"\"y z\" w";
    EXPECT_EQ(RunCaptured(Captured(line)), Lines(line, 1));
}

TEST(ChildProcessTest, UnquotedProgramPathWithABlankRunsWithShiftedArguments) {
    // Like CreateProcessW, the start tries "<temp>/with" first, then "<temp>/with blank/helper";
    // the child then finds the rest of its own path among its arguments.
    platform_testing::TempDir temp;
    std::filesystem::path copy =
        temp.Path() / "with blank" / std::filesystem::path(Helper()).filename();
    std::filesystem::create_directory(copy.parent_path());
    std::filesystem::copy_file(Helper(), copy);
    std::filesystem::permissions(copy, std::filesystem::perms::owner_exec,
                                 std::filesystem::perm_options::add);
    const std::wstring line = copy.wstring() + L" shd_get_user";
    ASSERT_EQ(SplitCommandLine(line).at(0), (temp.Path() / "with").wstring());
    // Wine: CreateProcessW puts quotes around the program name it found, so the child sees its
    // arguments unshifted; Windows passes the command line on as it was given.
    EXPECT_EQ(RunCaptured(Captured(line)), Lines(line, RunningUnderWine() ? 2 : 1));
}

TEST(ChildProcessTest, TerminateEndsAChildWithTheGivenCode) {
    StartResult started = SystemProcessLauncher().Start(Plain(L"hang"));
    ASSERT_TRUE(started.child) << started.error;
    ASSERT_EQ(started.child->Terminate(0xFFFFFFFFu), kErrorSuccess);
#if defined(NEXILO_OS_POSIX)
    int status = 0;
    EXPECT_EQ(::waitpid(static_cast<pid_t>(started.child->Id()), &status, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD) << "reaped at once, no zombie left";
#endif
    EXPECT_EQ(ExitCodeOf(*started.child), 0xFFFFFFFFu);
}

#if defined(NEXILO_OS_POSIX)
TEST(ChildProcessPosixTest, DeathBySignalIsANonZeroExitCode) {
    StartResult started = SystemProcessLauncher().Start(Plain(L"abort"));
    ASSERT_TRUE(started.child) << started.error;
    EXPECT_EQ(ExitCodeOf(*started.child), 128u + SIGABRT);
}
#endif

} // namespace
} // namespace platform
