// Child processes: start a program from a Windows command line, wait for it, read its exit code
// and, on the capture route, read its output once.
//
// Two routes, chosen by ChildStart::streams:
// - kInherit (plain): the child runs in the caller's context with the caller's standard streams
//   and environment, and inherits what the caller lets children inherit.
// - kCapture: the child is hidden; its standard output and standard error are the write end of
//   one pipe, its standard input the read end of a second pipe that nobody writes to or closes.
//   The caller keeps its copy of the output pipe's write end for the child's whole life, so a read
//   returns because data is there, never because of end-of-file: a child that printed nothing
//   leaves ReadOutputOnce blocked for good. Whoever waits before reading must know that the
//   child's output fits the pipe (4096 bytes on Windows, 64 KiB on Linux), or the child blocks.
//
// Errors are Windows error numbers on every system (platform/error_codes.h). ProcessLauncher and
// ChildProcess are abstract so that the logic above can be tested against a fake
// (platform/testing/fake_process_launcher.h); SystemProcessLauncher() is the real one.
//
// Per system:
// - Windows: CreateProcessW with no application name, inheriting handles; the capture route adds
//   CreatePipe, SetHandleInformation and CREATE_NO_WINDOW with a hidden window. On the plain route
//   the STARTUPINFOW is all zero and the handle of the new process's primary thread is never
//   closed; that is the runner's settled behaviour.
// - POSIX: posix_spawn. The command line is split with the Windows C runtime's rules, the program
//   is looked up as CreateProcessW would (each blank-separated prefix of an unquoted path in
//   turn) and a Windows name "Y.exe" is mapped to the file "Y" here (PosixProgramName). A name
//   without a slash is searched in PATH. A missing working folder fails the start with 267
//   (ERROR_DIRECTORY). The module's own pipe ends are close-on-exec. The child starts with no
//   blocked signals and default signal actions. A child killed by a signal reports the exit code
//   128 + signal number, except after Terminate, where it reports the code given there.
//   Destroying a child that was never waited for hands it to a detached thread that reaps it, so
//   it does not stay a zombie; the thread outlives the object, so don't unload a module that
//   holds this code while such a child may still run.
//
// Threads: a launcher may be used from any number of threads at once; one ChildProcess belongs to
// one thread at a time. Every call blocks only as its comment says.
#pragma once

#include "platform/error_codes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace platform {

enum class ChildStreams {
    kInherit,
    kCapture,
};

// The step of a start that failed. The plain route can only fail in kCreateProcess.
enum class StartStep {
    kCreateOutputPipe,
    kProtectOutputPipe, // clearing inheritance on the output pipe's read end
    kCreateInputPipe,
    kCreateProcess,
};

struct ChildStart {
    std::wstring commandLine;                     // Windows form, program name first
    std::optional<std::wstring> workingDirectory; // none: the caller's
    ChildStreams streams = ChildStreams::kInherit;
};

// The most that ReadOutputOnce reads.
inline constexpr std::size_t kOutputReadLimit = 4096;

// Exit code that Windows reports for a process that has not ended yet (STILL_ACTIVE).
inline constexpr std::uint32_t kStillActive = 259;

class ChildProcess {
public:
    virtual ~ChildProcess() = default;

    // The system's id of the child.
    [[nodiscard]] virtual std::uint32_t Id() const noexcept = 0;

    // Blocks until the child has ended, without a time limit. 0, or the error of the wait.
    [[nodiscard]] virtual ErrorCode Wait() noexcept = 0;

    // On success sets `exitCode` (kStillActive while the child runs); on failure leaves it.
    [[nodiscard]] virtual ErrorCode GetExitCode(std::uint32_t& exitCode) noexcept = 0;

    // Ends the child; it then reports `exitCode`. On POSIX this also reaps it, so a child given
    // up after a failed wait leaves no zombie.
    [[nodiscard]] virtual ErrorCode Terminate(std::uint32_t exitCode) noexcept = 0;

    // Capture route: one read of at most kOutputReadLimit bytes from the output pipe, as the bytes
    // came (they may hold zero bytes). Blocks until the child has written something. The plain
    // route gives kErrorInvalidHandle.
    [[nodiscard]] virtual ErrorCode ReadOutputOnce(std::string& bytes) = 0;
};

struct StartResult {
    std::unique_ptr<ChildProcess> child; // set exactly when error is kErrorSuccess
    ErrorCode error = kErrorSuccess;
    StartStep failedStep = StartStep::kCreateProcess;
};

class ProcessLauncher {
public:
    virtual ~ProcessLauncher() = default;

    // Starts the child and returns at once.
    [[nodiscard]] virtual StartResult Start(const ChildStart& start) = 0;
};

// The system's launcher; lives as long as the process.
ProcessLauncher& SystemProcessLauncher() noexcept;

} // namespace platform
