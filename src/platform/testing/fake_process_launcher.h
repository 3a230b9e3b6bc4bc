// A scripted ProcessLauncher for tests of the logic above the child-process seam: each start
// does what `script` says and every call is written to `calls`, so a test can check the order of
// the steps and reach failures that a real child cannot produce (a failed wait, an exit code that
// cannot be read). Not thread-safe.
#pragma once

#include "platform/child_process.h"

#include <memory>
#include <string>
#include <vector>

namespace platform::testing {

struct FakeChildScript {
    ErrorCode startError = kErrorSuccess;
    StartStep failedStep = StartStep::kCreateProcess;
    ErrorCode waitError = kErrorSuccess;
    ErrorCode exitCodeError = kErrorSuccess;
    std::uint32_t exitCode = 0;
    ErrorCode readError = kErrorSuccess;
    std::string output;
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
        StartResult result;
        if (script.startError != kErrorSuccess) {
            result.error = script.startError;
            result.failedStep = script.failedStep;
            return result;
        }
        result.child = std::make_unique<Child>(*this);
        return result;
    }

private:
    class Child final : public ChildProcess {
    public:
        explicit Child(FakeProcessLauncher& owner) : m_owner(owner) {}
        ~Child() override { m_owner.calls.push_back("close"); }

        std::uint32_t Id() const noexcept override { return 4242; }
        ErrorCode Wait() noexcept override {
            m_owner.calls.push_back("wait");
            return m_owner.script.waitError;
        }
        ErrorCode GetExitCode(std::uint32_t& exitCode) noexcept override {
            m_owner.calls.push_back("exit code");
            if (m_owner.script.exitCodeError != kErrorSuccess) {
                return m_owner.script.exitCodeError;
            }
            exitCode = m_owner.script.exitCode;
            return kErrorSuccess;
        }
        ErrorCode Terminate(std::uint32_t exitCode) noexcept override {
            m_owner.calls.push_back("terminate " + std::to_string(exitCode));
            return kErrorSuccess;
        }
        ErrorCode ReadOutputOnce(std::string& bytes) override {
            m_owner.calls.push_back("read");
            if (m_owner.script.readError != kErrorSuccess) {
                return m_owner.script.readError;
            }
            bytes = m_owner.script.output.substr(0, kOutputReadLimit);
            return kErrorSuccess;
        }

    private:
        FakeProcessLauncher& m_owner;
    };
};

} // namespace platform::testing
