#include "platform/child_process.h"

#include "platform/build_config.h"
#include "platform/command_line.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"
#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace platform {
namespace {

std::wstring Helper() {
    return testing::TestProgram("nexilo_child_helper").wstring();
}

ChildStart Plain(std::wstring arguments) {
    return ChildStart{L"\"" + Helper() + L"\" " + arguments, std::nullopt, ChildStreams::kInherit};
}

ChildStart Captured(std::wstring commandLine) {
    return ChildStart{std::move(commandLine), std::nullopt, ChildStreams::kCapture};
}

// Starts, waits, checks the exit code and reads once, as the capture route of the node tool does.
std::string RunCaptured(const ChildStart& start, std::uint32_t expectedExitCode = 0) {
    StartResult started = SystemProcessLauncher().Start(start);
    EXPECT_EQ(started.error, kErrorSuccess);
    if (!started.child) {
        return {};
    }
    EXPECT_EQ(started.child->Wait(), kErrorSuccess);
    std::uint32_t exitCode = 12345;
    EXPECT_EQ(started.child->GetExitCode(exitCode), kErrorSuccess);
    EXPECT_EQ(exitCode, expectedExitCode);
    std::string bytes;
    EXPECT_EQ(started.child->ReadOutputOnce(bytes), kErrorSuccess);
    return bytes;
}

std::string Lines(const std::vector<std::wstring>& args) {
    std::string text;
    for (const std::wstring& arg : args) {
        text += std::filesystem::path(arg).string() + "\n";
    }
    return text;
}

TEST(ChildProcessTest, PlainChildReportsItsExitCode) {
    StartResult started = SystemProcessLauncher().Start(Plain(L"exit 5"));
    ASSERT_EQ(started.error, kErrorSuccess);
    ASSERT_TRUE(started.child);
    EXPECT_NE(started.child->Id(), 0u);
    EXPECT_EQ(started.child->Wait(), kErrorSuccess);
    std::uint32_t exitCode = 0;
    EXPECT_EQ(started.child->GetExitCode(exitCode), kErrorSuccess);
    EXPECT_EQ(exitCode, 5u);
    std::string bytes;
    EXPECT_EQ(started.child->ReadOutputOnce(bytes), kErrorInvalidHandle);
}

TEST(ChildProcessTest, StartFailsForAMissingProgramOrFolder) {
    testing::TempDir temp;
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

TEST(ChildProcessTest, CaptureTakesOutputAndErrorFromOnePipe) {
    EXPECT_EQ(RunCaptured(Captured(Helper() + L" outerr TOKEN DEVICE")), "TOKENDEVICE");
}

TEST(ChildProcessTest, CaptureRunsInTheGivenFolder) {
    testing::TempDir temp;
    ChildStart start = Captured(Helper() + L" cwd");
    start.workingDirectory = temp.Path().wstring();
    std::string folder = RunCaptured(start);
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(folder), temp.Path())) << folder;
}

TEST(ChildProcessTest, ChildSeesTheArgumentsTheRuntimeRulesGive) {
    const std::wstring line = Helper() + L" args --key=\"globalex\" --field_name=\"anon_id\" "
                                         L"a\\\\b a\\\\\\\\\"b c\" a\\\\\\\"b \"\" \"x\"\"y z\" w";
    std::vector<std::wstring> expected = SplitCommandLine(line);
    expected.erase(expected.begin());
    ASSERT_EQ(expected[1], L"--key=globalex");
    EXPECT_EQ(RunCaptured(Captured(line)), Lines(expected));
}

TEST(ChildProcessTest, UnquotedProgramPathWithABlankRunsWithShiftedArguments) {
    // Like CreateProcessW, the start tries "<temp>/with" first, then "<temp>/with blank/helper";
    // the child then finds the rest of its own path among its arguments.
    testing::TempDir temp;
    std::filesystem::path folder = temp.Path() / "with blank";
    std::filesystem::create_directory(folder);
    std::filesystem::path copy = folder / testing::TestProgram("nexilo_child_helper").filename();
    std::filesystem::copy_file(testing::TestProgram("nexilo_child_helper"), copy);
    std::filesystem::permissions(copy, std::filesystem::perms::owner_exec,
                                 std::filesystem::perm_options::add);

    const std::wstring line = copy.wstring() + L" shd_get_user";
    std::vector<std::wstring> expected = SplitCommandLine(line);
    ASSERT_EQ(expected.size(), 3u);
    EXPECT_EQ(expected[0], (temp.Path() / "with").wstring());
    expected.erase(expected.begin());
    if (RunningUnderWine()) {
        // Wine: CreateProcessW puts quotes around the program name it found, so the child sees
        // its arguments unshifted; Windows passes the command line on as it was given.
        expected.erase(expected.begin());
    }
    EXPECT_EQ(RunCaptured(Captured(line)), Lines(expected));
}

TEST(ChildProcessTest, TerminateEndsAChildWithTheGivenCode) {
    StartResult started = SystemProcessLauncher().Start(Plain(L"hang"));
    ASSERT_TRUE(started.child);
    EXPECT_EQ(started.child->Terminate(0xFFFFFFFFu), kErrorSuccess);
    EXPECT_EQ(started.child->Wait(), kErrorSuccess);
    std::uint32_t exitCode = 0;
    EXPECT_EQ(started.child->GetExitCode(exitCode), kErrorSuccess);
    EXPECT_EQ(exitCode, 0xFFFFFFFFu);
}

TEST(ChildProcessTest, OneReadTakesAFullPipeOfExactlyTheLimit) {
    std::string bytes = RunCaptured(Captured(Helper() + L" bytes 4096"));
    EXPECT_EQ(bytes, std::string(kOutputReadLimit, 'x'));
}

} // namespace
} // namespace platform
