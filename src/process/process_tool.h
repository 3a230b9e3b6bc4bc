// The process runner: starts a program in the caller's own context, waits for it without limit
// and hands back its exit code.
//
// Contract: never throws, keeps no state, any number of threads may call it; it blocks the caller
// until the child has ended, so a child that hangs blocks the caller for good. The command line is
// "\"<executable>\" <arguments>", quotes inside the arguments left as they are, and must fit 1024
// characters with its terminator, or nothing is started. The child gets the caller's standard
// streams, environment and inheritable handles, and no window flags.
#pragma once

#include "diag/log.h"
#include "platform/child_process.h"

#include <cstdint>
#include <optional>
#include <string>

namespace RunProcess {

class ProcessTool {
public:
    // 0: the child ran to its end and *exitCode holds its exit code, or stays as the caller set
    // it when that code could not be read. 87: a null string, or a command line too long. 1627:
    // the child could not be started (the one case that is logged) or the wait failed (the child
    // is then terminated with 0xFFFFFFFF). A null `exitCode` is allowed and receives nothing.
    // The child is started through `launcher`; the line goes to `log` (null: the component's
    // log).
    static std::uint32_t RunProcess(platform::ProcessLauncher& launcher, logging::LogSink* log,
                                    const wchar_t* executable, const wchar_t* arguments,
                                    const wchar_t* workingDirectory, std::uint32_t* exitCode);

    // The command line the runner starts, or nothing when it does not fit.
    static std::optional<std::wstring> CommandLine(const wchar_t* executable,
                                                   const wchar_t* arguments);
};

} // namespace RunProcess
