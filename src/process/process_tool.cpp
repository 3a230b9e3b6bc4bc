#include "process/process_tool.h"

#include "platform/error_codes.h"

#include <new>

namespace RunProcess {

namespace {

// Characters of the command line buffer, terminator included.
constexpr std::size_t kCommandLineBuffer = 1024;

constexpr const wchar_t* kFunction = L"RunProcess::ProcessTool::RunProcess";

// What a child given up after a failed wait reports.
constexpr std::uint32_t kTerminatedExitCode = 0xFFFFFFFF;

} // namespace

std::optional<std::wstring> ProcessTool::CommandLine(const wchar_t* executable,
                                                     const wchar_t* arguments) {
    std::wstring line;
    line.reserve(kCommandLineBuffer);
    line += L'"';
    line += executable;
    line += L"\" ";
    line += arguments;
    if (line.size() >= kCommandLineBuffer) {
        return std::nullopt; // never started in cut form
    }
    return line;
}

std::uint32_t ProcessTool::RunProcess(platform::ProcessLauncher& launcher, logging::LogSink* sink,
                                      const wchar_t* executable, const wchar_t* arguments,
                                      const wchar_t* workingDirectory, std::uint32_t* exitCode) {
    if (executable == nullptr || arguments == nullptr || workingDirectory == nullptr) {
        return platform::kErrorInvalidParameter;
    }
    try {
        std::optional<std::wstring> line = CommandLine(executable, arguments);
        if (!line) {
            return platform::kErrorInvalidParameter;
        }
        platform::StartResult started = launcher.Start(platform::ChildStart{
            std::move(*line), std::wstring(workingDirectory), platform::ChildStreams::kInherit});
        if (started.error != platform::kErrorSuccess) {
            const logging::FunctionLog log(kFunction, sink);
            NX_LOG_ERROR(log, L"CreateProcess failed for %s with error code %d", executable,
                         static_cast<int>(started.error));
            return platform::kErrorFunctionFailed;
        }
        if (started.child->Wait() != platform::kErrorSuccess) {
            (void)started.child->Terminate(kTerminatedExitCode);
            return platform::kErrorFunctionFailed;
        }
        // A code that cannot be read leaves the caller's value, which then looks like success.
        std::uint32_t code = 0;
        if (started.child->GetExitCode(code) == platform::kErrorSuccess && exitCode != nullptr) {
            *exitCode = code;
        }
        return platform::kErrorSuccess;
    } catch (const std::bad_alloc&) {
        return platform::kErrorFunctionFailed; // nothing could be started
    }
}

} // namespace RunProcess
