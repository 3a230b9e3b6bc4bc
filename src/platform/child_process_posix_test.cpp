#include "platform/child_process.h"

#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <sys/wait.h>
#include <thread>

namespace platform {
namespace {

std::unique_ptr<ChildProcess> Start(const std::wstring& arguments, ChildStreams streams) {
    std::wstring line = testing::TestProgram("nexilo_child_helper").wstring() + L" " + arguments;
    StartResult started = SystemProcessLauncher().Start(ChildStart{line, std::nullopt, streams});
    EXPECT_EQ(started.error, kErrorSuccess);
    return std::move(started.child);
}

TEST(ChildProcessPosixTest, DeathBySignalIsANonZeroExitCode) {
    std::unique_ptr<ChildProcess> child = Start(L"abort", ChildStreams::kCapture);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->Wait(), kErrorSuccess);
    std::uint32_t exitCode = 0;
    EXPECT_EQ(child->GetExitCode(exitCode), kErrorSuccess);
    EXPECT_EQ(exitCode, 128u + SIGABRT);
}

TEST(ChildProcessPosixTest, TerminatedChildIsReapedAtOnce) {
    std::unique_ptr<ChildProcess> child = Start(L"hang", ChildStreams::kCapture);
    ASSERT_TRUE(child);
    pid_t pid = static_cast<pid_t>(child->Id());
    ASSERT_EQ(child->Terminate(7), kErrorSuccess);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ChildProcessPosixTest, ChildGivenUpWithoutAWaitIsReapedLater) {
    std::unique_ptr<ChildProcess> child = Start(L"hang", ChildStreams::kCapture);
    ASSERT_TRUE(child);
    pid_t pid = static_cast<pid_t>(child->Id());
    std::uint32_t exitCode = 0;
    EXPECT_EQ(child->GetExitCode(exitCode), kErrorSuccess);
    EXPECT_EQ(exitCode, kStillActive);
    child.reset();
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    // A zombie still answers kill(pid, 0); only a reaped child is gone.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (kill(pid, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcessPosixTest, OneReadTakesNoMoreThanTheLimit) {
    // Linux pipes hold 64 KiB, so the child can end before anything is read.
    std::unique_ptr<ChildProcess> child = Start(L"bytes 5000", ChildStreams::kCapture);
    ASSERT_TRUE(child);
    ASSERT_EQ(child->Wait(), kErrorSuccess);
    std::string bytes;
    ASSERT_EQ(child->ReadOutputOnce(bytes), kErrorSuccess);
    EXPECT_EQ(bytes.size(), kOutputReadLimit);
}

} // namespace
} // namespace platform
