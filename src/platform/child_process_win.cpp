#include "platform/child_process.h"

#include "platform/unique_resource.h"
#include "platform/win/windows_include.h"

namespace platform {

namespace {

class WinChild final : public ChildProcess {
public:
    WinChild(DWORD id, UniqueHandle process, UniqueHandle thread, UniqueHandle outRead,
             UniqueHandle outWrite, UniqueHandle inRead, UniqueHandle inWrite)
        : m_outRead(std::move(outRead)), m_outWrite(std::move(outWrite)),
          m_inRead(std::move(inRead)), m_inWrite(std::move(inWrite)), m_thread(std::move(thread)),
          m_process(std::move(process)), m_id(id) {}

    std::uint32_t Id() const noexcept override { return m_id; }

    ErrorCode Wait() noexcept override {
        DWORD result = WaitForSingleObject(m_process.get(), INFINITE);
        if (result == WAIT_OBJECT_0) {
            return kErrorSuccess;
        }
        DWORD error = result == WAIT_FAILED ? GetLastError() : result;
        return error != 0 ? error : kErrorGenFailure;
    }

    ErrorCode GetExitCode(std::uint32_t& exitCode) noexcept override {
        DWORD code = 0;
        if (!GetExitCodeProcess(m_process.get(), &code)) {
            return GetLastError();
        }
        exitCode = code;
        return kErrorSuccess;
    }

    ErrorCode Terminate(std::uint32_t exitCode) noexcept override {
        if (!TerminateProcess(m_process.get(), exitCode)) {
            return GetLastError();
        }
        return kErrorSuccess;
    }

    ErrorCode ReadOutputOnce(std::string& bytes) override {
        if (!m_outRead) {
            return kErrorInvalidHandle;
        }
        // One byte more than is read, so that a full read is still terminated.
        char buffer[kOutputReadLimit + 1] = {};
        DWORD count = 0;
        if (!ReadFile(m_outRead.get(), buffer, static_cast<DWORD>(kOutputReadLimit), &count,
                      nullptr)) {
            return GetLastError();
        }
        bytes.assign(buffer, count);
        return kErrorSuccess;
    }

private:
    // Destroyed in reverse order: process and thread first, then the four pipe ends.
    UniqueHandle m_outRead;
    UniqueHandle m_outWrite;
    UniqueHandle m_inRead;
    UniqueHandle m_inWrite;
    UniqueHandle m_thread;
    UniqueHandle m_process;
    DWORD m_id;
};

StartResult Failed(StartStep step, ErrorCode error) {
    StartResult result;
    result.error = error;
    result.failedStep = step;
    return result;
}

class WinLauncher final : public ProcessLauncher {
public:
    StartResult Start(const ChildStart& start) override {
        const bool capture = start.streams == ChildStreams::kCapture;
        UniqueHandle outRead, outWrite, inRead, inWrite;
        STARTUPINFOW startup;
        ZeroMemory(&startup, sizeof(startup));
        if (capture) {
            SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
            if (!CreatePipe(outRead.put(), outWrite.put(), &inheritable, 0)) {
                return Failed(StartStep::kCreateOutputPipe, GetLastError());
            }
            if (!SetHandleInformation(outRead.get(), HANDLE_FLAG_INHERIT, 0)) {
                return Failed(StartStep::kProtectOutputPipe, GetLastError());
            }
            if (!CreatePipe(inRead.put(), inWrite.put(), &inheritable, 0)) {
                return Failed(StartStep::kCreateInputPipe, GetLastError());
            }
            startup.cb = sizeof(startup);
            startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
            startup.wShowWindow = SW_HIDE;
            startup.hStdOutput = outWrite.get();
            startup.hStdError = outWrite.get();
            startup.hStdInput = inRead.get();
        }
        // The plain route leaves the record all zero, its size field included, as it always has.

        std::wstring commandLine = start.commandLine; // CreateProcessW may write into it
        PROCESS_INFORMATION info;
        ZeroMemory(&info, sizeof(info));
        const wchar_t* folder = start.workingDirectory ? start.workingDirectory->c_str() : nullptr;
        if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                            capture ? CREATE_NO_WINDOW : 0, nullptr, folder, &startup, &info)) {
            return Failed(StartStep::kCreateProcess, GetLastError());
        }
        UniqueHandle process(info.hProcess);
        UniqueHandle thread;
        if (capture) {
            thread.reset(info.hThread);
        }
        // The plain route never closes the primary thread's handle: settled behaviour of the
        // runner, kept as it is.

        StartResult result;
        result.child = std::make_unique<WinChild>(
            info.dwProcessId, std::move(process), std::move(thread), std::move(outRead),
            std::move(outWrite), std::move(inRead), std::move(inWrite));
        return result;
    }
};

} // namespace

ProcessLauncher& SystemProcessLauncher() noexcept {
    static WinLauncher launcher;
    return launcher;
}

} // namespace platform
