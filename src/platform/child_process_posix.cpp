#include "platform/child_process.h"

#include "platform/command_line.h"
#include "platform/unique_resource.h"
#include "platform/utf8.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace platform {

namespace {

pid_t WaitRetrying(pid_t pid, int& status, int options) {
    pid_t result;
    do {
        result = waitpid(pid, &status, options);
    } while (result < 0 && errno == EINTR);
    return result;
}

void ReapInBackground(pid_t pid) {
    int status = 0;
    if (WaitRetrying(pid, status, WNOHANG) != 0) {
        return; // already reaped, or not ours to reap
    }
    try {
        std::thread([pid] {
            int ignored = 0;
            WaitRetrying(pid, ignored, 0);
        }).detach();
    } catch (...) {
        // Without a thread the child stays a zombie until the host exits; nothing better is left.
    }
}

class PosixChild final : public ChildProcess {
public:
    PosixChild(pid_t pid, UniqueFd outRead, UniqueFd outWrite, UniqueFd inRead, UniqueFd inWrite)
        : m_pid(pid), m_outRead(std::move(outRead)), m_outWrite(std::move(outWrite)),
          m_inRead(std::move(inRead)), m_inWrite(std::move(inWrite)) {}

    ~PosixChild() override {
        if (!m_reaped) {
            ReapInBackground(m_pid);
        }
    }

    std::uint32_t Id() const noexcept override { return static_cast<std::uint32_t>(m_pid); }

    ErrorCode Wait() noexcept override {
        if (m_reaped) {
            return kErrorSuccess;
        }
        int status = 0;
        if (WaitRetrying(m_pid, status, 0) < 0) {
            return MapErrno(errno);
        }
        Reaped(status);
        return kErrorSuccess;
    }

    ErrorCode GetExitCode(std::uint32_t& exitCode) noexcept override {
        if (!m_reaped) {
            int status = 0;
            pid_t result = WaitRetrying(m_pid, status, WNOHANG);
            if (result < 0) {
                return MapErrno(errno);
            }
            if (result == 0) {
                exitCode = kStillActive;
                return kErrorSuccess;
            }
            Reaped(status);
        }
        if (WIFEXITED(m_status)) {
            exitCode = static_cast<std::uint32_t>(WEXITSTATUS(m_status));
        } else if (WIFSIGNALED(m_status) && m_terminatedWith && WTERMSIG(m_status) == SIGKILL) {
            exitCode = *m_terminatedWith;
        } else if (WIFSIGNALED(m_status)) {
            exitCode = 128u + static_cast<std::uint32_t>(WTERMSIG(m_status));
        } else {
            exitCode = kErrorGenFailure;
        }
        return kErrorSuccess;
    }

    ErrorCode Terminate(std::uint32_t exitCode) noexcept override {
        if (m_reaped) {
            return kErrorAccessDenied; // what Windows says for a process that has ended
        }
        if (kill(m_pid, SIGKILL) != 0) {
            return MapErrno(errno);
        }
        m_terminatedWith = exitCode;
        int status = 0;
        if (WaitRetrying(m_pid, status, 0) >= 0) {
            Reaped(status);
        }
        return kErrorSuccess;
    }

    ErrorCode ReadOutputOnce(std::string& bytes) override {
        if (!m_outRead) {
            return kErrorInvalidHandle;
        }
        // One byte more than is read, so that a full read is still terminated.
        char buffer[kOutputReadLimit + 1] = {};
        ssize_t count;
        do {
            count = read(m_outRead.get(), buffer, kOutputReadLimit);
        } while (count < 0 && errno == EINTR);
        if (count < 0) {
            return MapErrno(errno);
        }
        if (count == 0) {
            return kErrorBrokenPipe; // as ReadFile says when every writer is gone
        }
        bytes.assign(buffer, static_cast<std::size_t>(count));
        return kErrorSuccess;
    }

private:
    void Reaped(int status) {
        m_reaped = true;
        m_status = status;
    }

    pid_t m_pid;
    UniqueFd m_outRead;
    UniqueFd m_outWrite;
    UniqueFd m_inRead;
    UniqueFd m_inWrite;
    bool m_reaped = false;
    int m_status = 0;
    std::optional<std::uint32_t> m_terminatedWith;
};

StartResult Failed(StartStep step, ErrorCode error) {
    StartResult result;
    result.error = error;
    result.failedStep = step;
    return result;
}

bool IsExecutableFile(const std::string& path, ErrorCode& error) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return false;
    }
    if (access(path.c_str(), X_OK) != 0) {
        error = kErrorAccessDenied;
        return false;
    }
    return true;
}

// The file CreateProcessW would run for this command line, mapped to this system.
std::optional<std::string> FindProgram(const std::wstring& commandLine, ErrorCode& error) {
    error = kErrorFileNotFound;
    for (const std::wstring& candidate : ProgramNameCandidates(commandLine)) {
        std::string name = WideToUtf8(PosixProgramName(candidate));
        if (name.empty()) {
            continue;
        }
        if (name.find('/') != std::string::npos) {
            // The child changes its folder before exec, so a relative path must be made absolute
            // against ours first, as Windows resolves it against the caller's folder.
            if (name.front() != '/') {
                std::vector<char> cwd(4096);
                if (getcwd(cwd.data(), cwd.size()) == nullptr) {
                    error = MapErrno(errno);
                    return std::nullopt;
                }
                name = std::string(cwd.data()) + "/" + name;
            }
            if (IsExecutableFile(name, error)) {
                return name;
            }
            continue;
        }
        const char* path = std::getenv("PATH");
        std::string folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
        std::size_t begin = 0;
        while (begin <= folders.size()) {
            std::size_t end = folders.find(':', begin);
            if (end == std::string::npos) {
                end = folders.size();
            }
            std::string folder = folders.substr(begin, end - begin);
            std::string full = (folder.empty() ? std::string(".") : folder) + "/" + name;
            if (IsExecutableFile(full, error)) {
                return full;
            }
            begin = end + 1;
        }
    }
    return std::nullopt;
}

class FileActions {
public:
    FileActions() { m_ok = posix_spawn_file_actions_init(&m_actions) == 0; }
    ~FileActions() {
        if (m_ok) {
            posix_spawn_file_actions_destroy(&m_actions);
        }
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    bool Ok() const { return m_ok; }
    posix_spawn_file_actions_t* Get() { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
    bool m_ok = false;
};

class SpawnAttributes {
public:
    SpawnAttributes() { m_ok = posix_spawnattr_init(&m_attributes) == 0; }
    ~SpawnAttributes() {
        if (m_ok) {
            posix_spawnattr_destroy(&m_attributes);
        }
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    bool Ok() const { return m_ok; }
    posix_spawnattr_t* Get() { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes;
    bool m_ok = false;
};

class PosixLauncher final : public ProcessLauncher {
public:
    StartResult Start(const ChildStart& start) override {
        const bool capture = start.streams == ChildStreams::kCapture;
        UniqueFd outRead, outWrite, inRead, inWrite;
        if (capture) {
            int fds[2];
            if (pipe2(fds, O_CLOEXEC) != 0) {
                return Failed(StartStep::kCreateOutputPipe, MapErrno(errno));
            }
            outRead.reset(fds[0]);
            outWrite.reset(fds[1]);
            // Both ends are already close-on-exec; the child gets only what dup2 gives it.
            if (pipe2(fds, O_CLOEXEC) != 0) {
                return Failed(StartStep::kCreateInputPipe, MapErrno(errno));
            }
            inRead.reset(fds[0]);
            inWrite.reset(fds[1]);
        }

        ErrorCode error = kErrorSuccess;
        std::optional<std::string> program = FindProgram(start.commandLine, error);
        if (!program) {
            return Failed(StartStep::kCreateProcess, error);
        }

        std::vector<std::string> args;
        for (const std::wstring& arg : SplitCommandLine(start.commandLine)) {
            args.push_back(WideToUtf8(arg));
        }
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);

        FileActions actions;
        SpawnAttributes attributes;
        if (!actions.Ok() || !attributes.Ok()) {
            return Failed(StartStep::kCreateProcess, kErrorNotEnoughMemory);
        }
        if (start.workingDirectory) {
            std::string folder = WideToUtf8(*start.workingDirectory);
            struct stat info {};
            if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
                // What CreateProcessW reports for a working folder that isn't there.
                return Failed(StartStep::kCreateProcess, kErrorDirectory);
            }
            if (int rc = posix_spawn_file_actions_addchdir_np(actions.Get(), folder.c_str())) {
                return Failed(StartStep::kCreateProcess, MapErrno(rc));
            }
        }
        if (capture) {
            int rc = posix_spawn_file_actions_adddup2(actions.Get(), inRead.get(), STDIN_FILENO);
            if (rc == 0) {
                rc = posix_spawn_file_actions_adddup2(actions.Get(), outWrite.get(), STDOUT_FILENO);
            }
            if (rc == 0) {
                rc = posix_spawn_file_actions_adddup2(actions.Get(), outWrite.get(), STDERR_FILENO);
            }
            if (rc != 0) {
                return Failed(StartStep::kCreateProcess, MapErrno(rc));
            }
        }
        // A Windows child starts with no signal state from its parent; a host that blocks or
        // ignores signals (SIGPIPE, say) must not pass that on.
        sigset_t noSignals, allSignals;
        sigemptyset(&noSignals);
        sigfillset(&allSignals);
        posix_spawnattr_setsigmask(attributes.Get(), &noSignals);
        posix_spawnattr_setsigdefault(attributes.Get(), &allSignals);
        posix_spawnattr_setflags(attributes.Get(), POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

        pid_t pid = 0;
        if (int rc = posix_spawn(&pid, program->c_str(), actions.Get(), attributes.Get(),
                                 argv.data(), environ)) {
            return Failed(StartStep::kCreateProcess, MapErrno(rc));
        }
        StartResult result;
        result.child = std::make_unique<PosixChild>(pid, std::move(outRead), std::move(outWrite),
                                                    std::move(inRead), std::move(inWrite));
        return result;
    }
};

} // namespace

ProcessLauncher& SystemProcessLauncher() noexcept {
    static PosixLauncher launcher;
    return launcher;
}

} // namespace platform
