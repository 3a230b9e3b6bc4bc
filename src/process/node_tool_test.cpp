#include "process/node_tool.h"

#include "platform/path_spec.h"
#include "platform/testing/fake_process_launcher.h"
#include "process/testing/recording_log_sink.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace process {
namespace {

using platform::testing::FakeProcessLauncher;
using process::testing::RecordingLogSink;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::wstring>;
using Pieces = std::vector<std::string>;

const std::wstring kFolder = std::wstring(L"inst dir") + platform::kPathSeparator;

class NodeToolTest : public ::testing::Test {
protected:
    FakeProcessLauncher launcher;
    RecordingLogSink log;
    NodeToolClient client{kFolder, launcher, log};
};

TEST(NodeToolTextTest, StatusHasAWordForZeroToTwoOnly) {
    EXPECT_STREQ(StatusWord(0), L"enabled");
    EXPECT_STREQ(StatusWord(1), L"disabled");
    EXPECT_STREQ(StatusWord(2), L"pending");
    EXPECT_EQ(StatusWord(3), nullptr);
    EXPECT_EQ(StatusWord(-1), nullptr);
}

TEST(NodeToolTextTest, VerbArgumentsAreExactAndUnescaped) {
    EXPECT_EQ(SetStatusArguments(L"id\"1", L"pending"),
              L"shd_set_status --app_id=\"id\"1\" --status=\"pending\"");
    EXPECT_EQ(AddAppArguments(L"id", L"My App", L"enabled", L"1.2"),
              L"shd_add_app --appid=\"id\" --name=\"My App\" --status=\"enabled\" "
              L"--version=\"1.2\"");
    EXPECT_EQ(RemoveAppArguments(L"id"), L"shd_rem_app --appid=\"id\"");
    EXPECT_EQ(AddAppArguments(nullptr, L"n", L"enabled", nullptr),
              L"shd_add_app --appid=\"(null)\" --name=\"n\" --status=\"enabled\" "
              L"--version=\"(null)\"");
}

TEST(NodeToolTextTest, ReadingVerbsLeaveTheToolPathUnquoted) {
    EXPECT_EQ(GetUserCommandLine(kFolder), kFolder + L"nodectl.exe shd_get_user");
    EXPECT_EQ(GetAgentFieldCommandLine(L"dir", L"globalex", L"anon_id"),
              L"dir" + std::wstring(1, platform::kPathSeparator) +
                  L"nodectl.exe shd_get_agent_field --key=\"globalex\" --field_name=\"anon_id\"");
    std::wstring longKey(1024, L'k');
    EXPECT_FALSE(GetAgentFieldCommandLine(kFolder, longKey.c_str(), L"f"));
}

TEST(NodeToolTextTest, ToolFolderIsTheModulesFolderWithASeparator) {
    const std::wstring sep(1, platform::kPathSeparator);
    EXPECT_EQ(ToolFolderFromModulePath(sep + L"opt" + sep + L"x y" + sep + L"agent.so"),
              sep + L"opt" + sep + L"x y" + sep);
    EXPECT_EQ(ToolFolderFromModulePath(L"agent.so"), L"");
    std::wstring own = OwnToolFolder();
    ASSERT_FALSE(own.empty());
    EXPECT_EQ(own.back(), platform::kPathSeparator);
}

TEST(NodeToolTextTest, OutputSplitsAtEveryLineBreakAndDropsEmptyPieces) {
    EXPECT_EQ(SplitToolLines("TOKEN\r\nDEVICE\r\n"), (Pieces{"TOKEN", "DEVICE"}));
    EXPECT_EQ(SplitToolLines("\n\nTOKEN\n\nDEVICE"), (Pieces{"TOKEN", "DEVICE"}));
    EXPECT_EQ(SplitToolLines("A\rB\n\rC\r"), (Pieces{"A", "B", "C"}));
    EXPECT_EQ(SplitToolLines("TOKEN"), (Pieces{"TOKEN"}));
    EXPECT_EQ(SplitToolLines("\r\n"), Pieces{});
}

TEST(NodeToolTextTest, FieldValueLosesOnlyTrailingWhiteSpace) {
    EXPECT_EQ(TrimFieldValue("abc \r\n"), "abc");
    EXPECT_EQ(TrimFieldValue(" \r\n"), "");
    EXPECT_EQ(TrimFieldValue(" a\tb\t\n"), " a\tb");
}

TEST(NodeToolTextTest, ReadTextEndsAtTheFirstZeroByte) {
    EXPECT_EQ(TextOfRead(std::string("AB\0CD", 5)), "AB");
    EXPECT_EQ(TextOfRead(std::string(4096, 'x')).size(), 4096u);
}

TEST_F(NodeToolTest, WritingVerbsRunTheQuotedToolInItsFolder) {
    EXPECT_TRUE(client.SetStatus(L"app", 1));
    EXPECT_TRUE(client.AddApp(L"app", L"App", 2, L"3.0"));
    EXPECT_TRUE(client.RemoveApp(L"app"));
    ASSERT_EQ(launcher.starts.size(), 3u);
    const std::wstring tool = L"\"" + kFolder + L"nodectl.exe\" ";
    EXPECT_EQ(launcher.starts[0].commandLine,
              tool + L"shd_set_status --app_id=\"app\" --status=\"disabled\"");
    EXPECT_EQ(launcher.starts[1].commandLine,
              tool + L"shd_add_app --appid=\"app\" --name=\"App\" --status=\"pending\" "
                     L"--version=\"3.0\"");
    EXPECT_EQ(launcher.starts[2].commandLine, tool + L"shd_rem_app --appid=\"app\"");
    for (const platform::ChildStart& start : launcher.starts) {
        EXPECT_EQ(start.streams, platform::ChildStreams::kInherit);
        EXPECT_EQ(start.workingDirectory, kFolder);
    }
}

TEST_F(NodeToolTest, WritingVerbsWithoutAStatusWordOrIdStartNothing) {
    EXPECT_FALSE(client.SetStatus(L"app", 3));
    EXPECT_FALSE(client.AddApp(L"app", L"App", -1, L"1"));
    EXPECT_FALSE(client.RemoveApp(nullptr));
    EXPECT_TRUE(launcher.starts.empty());
    EXPECT_TRUE(client.SetStatus(nullptr, 0)); // no such test: formats what it is given
    EXPECT_EQ(launcher.starts.at(0).commandLine,
              L"\"" + kFolder +
                  L"nodectl.exe\" shd_set_status --app_id=\"(null)\" "
                  L"--status=\"enabled\"");
}

TEST_F(NodeToolTest, WritingVerbsJudgeTheRunnerAndTheExitCode) {
    launcher.script.exitCode = 4;
    EXPECT_FALSE(client.RemoveApp(L"app"));
    launcher.script.exitCode = 0;
    launcher.script.exitCodeError = 6; // looks like exit code 0
    EXPECT_TRUE(client.RemoveApp(L"app"));
    launcher.script.exitCodeError = 0;
    launcher.script.startError = 2;
    EXPECT_FALSE(client.RemoveApp(L"app"));
    EXPECT_EQ(log.lines.size(), 1u); // the runner's own line, nothing more
}

TEST_F(NodeToolTest, CaptureWaitsThenReadsTheExitCodeThenReadsOnce) {
    launcher.script.output = "TOKEN\r\nDEVICE\r\n";
    std::wstring device = L"old", token = L"old";
    EXPECT_TRUE(client.GetNexiloInfo(device, token));
    EXPECT_EQ(token, L"TOKEN");
    EXPECT_EQ(device, L"DEVICE");
    EXPECT_EQ(launcher.calls, (Calls{"start", "wait", "exit code", "read", "close"}));
    ASSERT_EQ(launcher.starts.size(), 1u);
    EXPECT_EQ(launcher.starts[0].commandLine, kFolder + L"nodectl.exe shd_get_user");
    EXPECT_EQ(launcher.starts[0].streams, platform::ChildStreams::kCapture);
    EXPECT_EQ(launcher.starts[0].workingDirectory, kFolder);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(NodeToolTest, UserLinesAreUtf8AndEndAtAZeroByte) {
    launcher.script.output = std::string("\n\nt\xc3\xa9\n\nDEV\0ICE\n", 14);
    std::wstring device, token;
    EXPECT_TRUE(client.GetNexiloInfo(device, token));
    EXPECT_EQ(token, L"t\u00e9");
    EXPECT_EQ(device, L"DEV");
}

TEST_F(NodeToolTest, OneUserLineIsASplitErrorAndTouchesNothing) {
    launcher.script.output = "TOKEN\r\n";
    std::wstring device = L"old", token = L"old";
    EXPECT_FALSE(client.GetNexiloInfo(device, token));
    EXPECT_EQ(token, L"old");
    EXPECT_EQ(device, L"old");
    EXPECT_EQ(log.lines, Lines{L"4|GetNexiloInfo|error split||"});
}

TEST_F(NodeToolTest, EachFailedStepLogsItsWord) {
    struct Case {
        platform::StartStep step;
        const wchar_t* line;
    } cases[] = {
        {platform::StartStep::kCreateOutputPipe, L"4|GetNexiloInfo|error CreatePipe [%d]||5"},
        {platform::StartStep::kProtectOutputPipe,
         L"4|GetNexiloInfo|error SetHandleInformation [%d]||5"},
        {platform::StartStep::kCreateInputPipe, L"4|GetNexiloInfo|error CreatePipe2 [%d]||5"},
        {platform::StartStep::kCreateProcess, L"4|GetNexiloInfo|error CreateProcess [%d]||5"},
    };
    std::wstring device, token;
    for (const Case& c : cases) {
        log.lines.clear();
        launcher.script.startError = 5;
        launcher.script.failedStep = c.step;
        EXPECT_FALSE(client.GetNexiloInfo(device, token));
        EXPECT_EQ(log.lines, Lines{c.line});
    }
    launcher.script = {};
    launcher.script.waitError = 6;
    launcher.calls.clear();
    log.lines.clear();
    EXPECT_FALSE(client.GetNexiloInfo(device, token));
    EXPECT_EQ(launcher.calls, (Calls{"start", "wait", "close"})); // not terminated
    EXPECT_EQ(log.lines, Lines{L"4|GetNexiloInfo|error WaitForSingleObject [%d]||6"});

    launcher.script = {};
    launcher.script.exitCodeError = 6;
    log.lines.clear();
    EXPECT_FALSE(client.GetNexiloInfo(device, token));
    EXPECT_EQ(log.lines, Lines{L"4|GetNexiloInfo|error GetExitCodeProcess [%d]||6"});
}

TEST_F(NodeToolTest, ReadErrorIsReportedUnderTheExitCodeWord) {
    launcher.script.readError = 109;
    std::string value = "old";
    EXPECT_FALSE(client.GetAgentField(L"globalex", L"anon_id", value));
    EXPECT_EQ(value, "old");
    EXPECT_EQ(log.lines, Lines{L"4|get_agent_field|error GetExitCodeProcess [%d]||109"});
}

TEST_F(NodeToolTest, NonZeroExitIsNotReadAndIsLoggedAtTheReadersLevel) {
    launcher.script.exitCode = 3;
    launcher.script.output = "TOKEN\nDEVICE\n";
    std::wstring device, token;
    std::string value;
    EXPECT_FALSE(client.GetNexiloInfo(device, token));
    EXPECT_FALSE(client.GetAgentField(L"k", L"f", value));
    EXPECT_EQ(log.lines, (Lines{L"16|GetNexiloInfo|exitCode not 0: [%d]||3",
                                L"4|get_agent_field|error exitCode [%d]||3"}));
    EXPECT_EQ(std::count(launcher.calls.begin(), launcher.calls.end(), "read"), 0);
}

TEST_F(NodeToolTest, FieldReaderTrimsTheEndAndAcceptsEmpty) {
    std::string value;
    launcher.script.output = "abc \r\n";
    EXPECT_TRUE(client.GetAgentField(L"globalex", L"anon_id", value));
    EXPECT_EQ(value, "abc");
    EXPECT_EQ(launcher.starts.at(0).commandLine,
              kFolder +
                  L"nodectl.exe shd_get_agent_field --key=\"globalex\" --field_name=\"anon_id\"");
    launcher.script.output = " \r\n";
    EXPECT_TRUE(client.GetAgentField(L"globalex", L"anon_id", value));
    EXPECT_EQ(value, "");
}

TEST_F(NodeToolTest, ReadingVerbThatDoesNotFitStartsNothing) {
    std::wstring longField(1100, L'f');
    std::string value = "old";
    EXPECT_FALSE(client.GetAgentField(L"k", longField.c_str(), value));
    EXPECT_TRUE(launcher.starts.empty());
    EXPECT_TRUE(log.lines.empty());
}

} // namespace
} // namespace process
