// A scripted ProcessLauncher for tests of the logic above the child-process seam: each start
// does what `script` says and every call is written to `calls`, so a test can check the order of
// the steps and reach failures that a real child cannot produce (a failed wait, an exit code that
// cannot be read). Not thread-safe.
#pragma once

#include "platform/child_process.h"

#include <memory>
#include <string>
#include <vector>

namespace platform_testing {

using platform::ChildProcess;
using platform::ChildStart;
using platform::ErrorCode;
using platform::kErrorSuccess;
using platform::kOutputReadLimit;
using platform::ProcessLauncher;
using platform::StartResult;
using platform::StartStep;

struct FakeChildScript {
    ErrorCode startError = kErrorSuccess;
    StartStep failedStep = StartStep::kCreateProcess;
    ErrorCode waitError = kErrorSuccess;
    ErrorCode exitCodeError = kErrorSuccess;
    std::uint32_t exitCode = 0;
    ErrorCode readError = kErrorSuccess;
    std::string output{}; // braced, so that GCC lets designated initializers leave it out
};

class FakeProcessLauncher final : public ProcessLauncher {
public:
    FakeChildScript script;
    std::vector<ChildStart> starts;
    // "start", "wait", "exit code", "terminate <code>", "read", "close"
    std::vector<std::string> calls;

    StartResult Start(const ChildStart& start) override {
        starts.push_back(start);
        calls.push_back("start");
        if (script.startError != kErrorSuccess) {
            return StartResult{nullptr, script.startError, script.failedStep};
        }
        return StartResult{std::make_unique<Child>(*this)};
    }

private:
    class Child final : public ChildProcess {
    public:
        explicit Child(FakeProcessLauncher& owner) : m_owner(owner) {}
        ~Child() override { m_owner.calls.push_back("close"); }

        std::uint32_t Id() const noexcept override { return 4242; }
        ErrorCode Wait() noexcept override { return Note("wait", m_owner.script.waitError); }
        ErrorCode GetExitCode(std::uint32_t& exitCode) noexcept override {
            if (m_owner.script.exitCodeError == kErrorSuccess) {
                exitCode = m_owner.script.exitCode;
            }
            return Note("exit code", m_owner.script.exitCodeError);
        }
        ErrorCode Terminate(std::uint32_t exitCode) noexcept override {
            return Note("terminate " + std::to_string(exitCode), kErrorSuccess);
        }
        ErrorCode ReadOutputOnce(std::string& bytes) override {
            if (m_owner.script.readError == kErrorSuccess) {
                bytes = m_owner.script.output.substr(0, kOutputReadLimit);
            }
            return Note("read", m_owner.script.readError);
        }

    private:
        ErrorCode Note(std::string call, ErrorCode result) {
            m_owner.calls.push_back(std::move(call));
            return result;
        }

        FakeProcessLauncher& m_owner;
    };
};

} // namespace platform_testing
