#include "process/node_tool.h"

#include "diag/testing/recording_log_sink.h"
#include "platform/path_spec.h"
#include "platform/testing/fake_process_launcher.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace process {
namespace {

using platform::ChildStreams;
using platform::StartStep;
using platform_testing::FakeChildScript;
using Lines = std::vector<std::wstring>;

const std::wstring kFolder = std::wstring(L"inst dir") + platform::kPathSeparator;
const std::wstring kTool = kFolder + L"nodectl.exe";

class NodeToolTest : public ::testing::Test {
protected:
    bool Called(const std::string& call) const {
        return std::any_of(launcher.calls.begin(), launcher.calls.end(),
                           [&](const std::string& made) { return made.rfind(call, 0) == 0; });
    }

    platform_testing::FakeProcessLauncher launcher;
    diag_testing::RecordingLogSink log;
    NodeToolClient client{kFolder, launcher, &log};
    std::wstring device = L"old";
    std::wstring token = L"old";
    std::string value = "old";
};

TEST_F(NodeToolTest, CommandLinesAreExactlyWhatTheToolReceives) {
    launcher.script.output = "TOKEN\nDEVICE\n";
    EXPECT_TRUE(client.SetStatus(L"id\"1", 2));
    EXPECT_TRUE(client.SetStatus(L"app", 1));
    EXPECT_TRUE(client.AddApp(L"app", L"My App", 0, nullptr));
    EXPECT_TRUE(client.RemoveApp(L"app"));
    EXPECT_TRUE(client.GetNexiloInfo(device, token));
    EXPECT_TRUE(client.GetAgentField(L"globalex", L"anon_id", value));
    // Writing verbs go through the runner with the tool quoted, reading verbs through the capture
    // route unquoted. Quotes inside arguments stay as they are; a null text is "(null)".
    const std::wstring quoted = L"\"" + kTool + L"\" ";
    const std::pair<std::wstring, ChildStreams> expected[] = {
        {quoted + L"shd_set_status --app_id=\"id\"1\" --status=\"pending\"",
         ChildStreams::kInherit},
        {quoted + L"shd_set_status --app_id=\"app\" --status=\"disabled\"", ChildStreams::kInherit},
        {quoted + L"shd_add_app --appid=\"app\" --name=\"My App\" --status=\"enabled\" "
                  L"--version=\"(null)\"",
         ChildStreams::kInherit},
        {quoted + L"shd_rem_app --appid=\"app\"", ChildStreams::kInherit},
        {kTool + L" shd_get_user", ChildStreams::kCapture},
        {kTool + L" shd_get_agent_field --key=\"globalex\" --field_name=\"anon_id\"",
         ChildStreams::kCapture},
    };
    ASSERT_EQ(launcher.starts.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(launcher.starts[i].commandLine, expected[i].first);
        EXPECT_EQ(launcher.starts[i].streams, expected[i].second);
        EXPECT_EQ(launcher.starts[i].workingDirectory, kFolder);
    }
    EXPECT_TRUE(log.Texts().empty());

    // Statuses without a word, and a null id to remove, start nothing.
    EXPECT_EQ(StatusWord(3), nullptr);
    EXPECT_FALSE(client.SetStatus(L"app", 3));
    EXPECT_FALSE(client.AddApp(L"app", L"App", -1, L"1"));
    EXPECT_FALSE(client.RemoveApp(nullptr));
    EXPECT_EQ(launcher.starts.size(), std::size(expected));
}

TEST_F(NodeToolTest, WritingVerbsJudgeTheRunnerAndTheExitCode) {
    const struct {
        const char* what;
        FakeChildScript script;
        bool result;
        std::size_t lines;
    } cases[] = {
        {"a non-zero exit code", {.exitCode = 4}, false, 0},
        // The runner leaves the exit code as it was, 0, when it cannot be read.
        {"an exit code that cannot be read", {.exitCodeError = 6}, true, 0},
        {"a tool that cannot be started", {.startError = 2}, false, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        launcher.script = c.script;
        log.Clear();
        EXPECT_EQ(client.RemoveApp(L"app"), c.result);
        EXPECT_EQ(log.Texts().size(), c.lines) << "the runner's own line, nothing more";
    }
}

TEST_F(NodeToolTest, UserOutputSplitsAtEveryBreakAndNeedsTwoLines) {
    const std::pair<std::string, const wchar_t*> cases[] = {
        {"TOKEN\r\nDEVICE\r\n", L"TOKEN|DEVICE"},
        {"\n\nTOKEN\n\nDEVICE", L"TOKEN|DEVICE"},
        {"A\rB\n\rC\r", L"A|B"},
        {std::string("\nt\xc3\xa9\nDEV\0ICE\nX", 14), L"t\u00e9|DEV"}, // UTF-8, up to a zero byte
        {"TOKEN\r\n", nullptr},
        {"\r\n", nullptr},
    };
    for (const auto& [output, expected] : cases) {
        SCOPED_TRACE(output);
        log.Clear();
        launcher.script.output = output;
        token = device = L"old";
        EXPECT_EQ(client.GetNexiloInfo(device, token), expected != nullptr);
        EXPECT_EQ(token + L"|" + device, expected ? expected : L"old|old");
        EXPECT_EQ(log.Texts(), expected ? Lines{} : Lines{L"4|GetNexiloInfo|error split"});
    }
    launcher.calls.resize(5);
    EXPECT_EQ(launcher.calls,
              (std::vector<std::string>{"start", "wait", "exit code", "read", "close"}))
        << "the child ends before its output is read";
}

TEST_F(NodeToolTest, FieldLosesOnlyTrailingWhiteSpaceAndMayBeEmpty) {
    const std::pair<std::string, std::string> cases[] = {
        {"abc \r\n", "abc"},
        {" \r\n", ""},
        {" a\tb\t\n", " a\tb"},
        {std::string(4096, 'x'), std::string(4096, 'x')}};
    for (const auto& [output, expected] : cases) {
        launcher.script.output = output;
        EXPECT_TRUE(client.GetAgentField(L"globalex", L"anon_id", value));
        EXPECT_EQ(value, expected);
    }
}

TEST_F(NodeToolTest, EachFailedStepLogsItsWordAndTouchesNothing) {
    struct Case {
        FakeChildScript script;
        bool field; // GetAgentField, else GetNexiloInfo
        std::wstring line;
    };
    const Case cases[] = {
        {{.startError = 5, .failedStep = StartStep::kCreateOutputPipe},
         false,
         L"4|GetNexiloInfo|error CreatePipe [5]"},
        {{.startError = 5, .failedStep = StartStep::kProtectOutputPipe},
         false,
         L"4|GetNexiloInfo|error SetHandleInformation [5]"},
        {{.startError = 5, .failedStep = StartStep::kCreateInputPipe},
         false,
         L"4|GetNexiloInfo|error CreatePipe2 [5]"},
        {{.startError = 2}, true, L"4|get_agent_field|error CreateProcess [2]"},
        {{.waitError = 6}, false, L"4|GetNexiloInfo|error WaitForSingleObject [6]"},
        {{.exitCodeError = 6}, false, L"4|GetNexiloInfo|error GetExitCodeProcess [6]"},
        // A non-zero exit code is not read, and the two readers log it at different levels.
        {{.exitCode = 3}, false, L"16|GetNexiloInfo|exitCode not 0: [3]"},
        {{.exitCode = 3}, true, L"4|get_agent_field|error exitCode [3]"},
        // A failed read is reported under the exit code's word.
        {{.readError = 109}, true, L"4|get_agent_field|error GetExitCodeProcess [109]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        launcher.script = c.script;
        launcher.script.output = "TOKEN\nDEVICE\n";
        launcher.calls.clear();
        log.Clear();
        EXPECT_FALSE(c.field ? client.GetAgentField(L"k", L"f", value)
                             : client.GetNexiloInfo(device, token));
        EXPECT_EQ(log.Texts(), Lines{c.line});
        EXPECT_EQ(value, "old");
        EXPECT_EQ(token + device, L"oldold");
        EXPECT_EQ(Called("read"), c.script.readError != 0);
        EXPECT_FALSE(Called("terminate")) << "a failed wait leaves the child be";
    }
}

TEST_F(NodeToolTest, ReadingVerbThatDoesNotFitStartsNothing) {
    // 1023 characters fit beside the terminator.
    const std::size_t room = 1023 - GetAgentFieldCommandLine(kFolder, L"", L"f")->size();
    EXPECT_TRUE(GetAgentFieldCommandLine(kFolder, std::wstring(room, L'k').c_str(), L"f"));
    EXPECT_FALSE(GetAgentFieldCommandLine(kFolder, std::wstring(room + 1, L'k').c_str(), L"f"));
    EXPECT_FALSE(client.GetAgentField(L"k", std::wstring(1100, L'f').c_str(), value));
    EXPECT_TRUE(launcher.starts.empty());
    EXPECT_TRUE(log.Texts().empty());
}

TEST(NodeToolFolderTest, ToolFolderIsTheModulesFolderWithASeparator) {
    const std::wstring sep(1, platform::kPathSeparator);
    EXPECT_EQ(ToolFolderFromModulePath(sep + L"opt" + sep + L"x y" + sep + L"agent.so"),
              sep + L"opt" + sep + L"x y" + sep);
    EXPECT_EQ(ToolFolderFromModulePath(L"agent.so"), L"");
    ASSERT_FALSE(OwnToolFolder().empty());
    EXPECT_EQ(OwnToolFolder().back(), platform::kPathSeparator);
}

} // namespace
} // namespace process
