// The host's whole run, in-process, against a stand-in agent module: the order of the steps,
// the output lines, the plugins as a module sees them, and the exit code of each failure.
#include "devkit/common/devkit_home.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/host_run.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace devkit::host {
namespace {

struct Outcome {
    int code = -1;
    std::vector<std::string> lines; // standard output
    std::string err;
};

class HostRunTest : public testing::Test {
protected:
    HostRunTest() {
        m_setup.home = m_home.Path();
        m_setup.defaultModule = WidePath(m_home.Path() / "NexiloAgent.so");
    }
    ~HostRunTest() override {
        EXPECT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT_REFUSE", nullptr));
    }

    static std::string Module(const wchar_t* name) {
        return PathText(platform::testing::TestBinFolder() /
                        PathFromWide(platform::SystemModuleName(name)));
    }
    static std::string FakeAgent() { return Module(L"host_fake_agent.dll"); }

    Outcome Run(std::vector<std::string> args) {
        std::ostringstream out;
        std::ostringstream err;
        Console console(out, err);
        Outcome outcome;
        outcome.code = RunHost(args, console, m_setup);
        std::istringstream lines(out.str());
        for (std::string line; std::getline(lines, line);) {
            outcome.lines.push_back(line);
        }
        outcome.err = err.str();
        return outcome;
    }

    void WriteHostFile(const std::filesystem::path& file, const std::string& text) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    std::string ReadHostFile(const std::filesystem::path& file) {
        std::string text;
        ReadWholeFile(file, text);
        return text;
    }

    platform::testing::TempDir m_home;
    HostSetup m_setup;
};

TEST_F(HostRunTest, StartsRunsAndStopsTheAgentInOrder) {
    WriteHostFile(ProductInfoFile(m_home.Path()), R"({"nexilo": {"0": "com.example.app"}})");
    Outcome outcome = Run({"--module", FakeAgent(), "ask", "fake/echo", "m",
                           R"({"a": [1, 2.5], "s": "x"})", "ask", "fake/event", "m", "7"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    EXPECT_EQ(outcome.lines,
              (std::vector<std::string>{
                  R"({"event":"fake_started","data":{"starts":1}})", R"({"step":"init","code":0})",
                  R"({"step":"identity","user_token":"token","device_id":"device"})",
                  R"({"command":"ask","service":"fake/echo","method":"m","code":0,)"
                  R"("isError":false,"reply":{"a":[1,2.5],"s":"x"}})",
                  R"({"event":"fake_event","data":7})",
                  R"({"command":"ask","service":"fake/event","method":"m","code":0,)"
                  R"("isError":false,"reply":null})",
                  R"({"step":"uninit"})"}));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(ReadHostFile(EventSinkRecordFile(m_home.Path())),
              R"({"call":"SetUserData","user_token":"token","device_id":"device",)"
              R"("app_id":"com.example.app"})"
              "\n");
}

TEST_F(HostRunTest, KeepsSettingsAcrossRunsWithTheirTypes) {
    WriteHostFile(ProductInfoFile(m_home.Path()), R"({"nexilo": {"0": "com.example.app"}})");
    ASSERT_EQ(Run({"--module", FakeAgent(), "wait", "0"}).code, kExitOk);
    Outcome outcome =
        Run({"--module", FakeAgent(), "ask", "fake/setting", "m",
             R"({"node": "/Fake", "key": "appId", "type": "string"})", "ask", "fake/setting", "m",
             R"({"node": "/Fake", "key": "appId", "type": "int32"})", "ask", "fake/setting", "m",
             R"({"node": "/Fake", "key": "starts", "type": "int64"})"});
    ASSERT_EQ(outcome.code, kExitOk) << outcome.err;
    ASSERT_EQ(outcome.lines.size(), 7u);
    EXPECT_EQ(outcome.lines[0], R"({"event":"fake_started","data":{"starts":2}})");
    EXPECT_NE(outcome.lines[3].find(R"("reply":"com.example.app")"), std::string::npos);
    EXPECT_NE(outcome.lines[4].find(R"("reply":null)"), std::string::npos);
    EXPECT_NE(outcome.lines[5].find(R"("reply":2)"), std::string::npos);
}

TEST_F(HostRunTest, StopsAtTheFirstFailedCommandAndStillStopsTheAgent) {
    Outcome outcome = Run({"--module", FakeAgent(), "ask", "fake/error", "m", "{}", "ask",
                           "fake/fail", "m", "{}", "ask", "fake/echo", "m", "{}"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ASSERT_EQ(outcome.lines.size(), 6u);
    EXPECT_EQ(outcome.lines[3], R"({"command":"ask","service":"fake/error","method":"m",)"
                                R"("code":0,"isError":true,)"
                                R"("reply":{"code":5,"message":"later"}})");
    EXPECT_EQ(outcome.lines[4], R"({"command":"ask","service":"fake/fail","method":"m",)"
                                R"("code":-1,"isError":false,"reply":null})");
    EXPECT_EQ(outcome.lines[5], R"({"step":"uninit"})");
    EXPECT_NE(outcome.err.find("ask fake/fail m failed with -1"), std::string::npos) << outcome.err;
}

TEST_F(HostRunTest, AFailedInitRunsNoCommandAndNoUnInit) {
    WriteHostFile(SettingsFile(m_home.Path()), R"({"/Fake": {"initResult": {"int32": 5}}})");
    Outcome outcome = Run({"--module", FakeAgent(), "ask", "fake/echo", "m", "{}"});
    EXPECT_EQ(outcome.code, kExitInitFailed);
    EXPECT_EQ(outcome.lines, (std::vector<std::string>{R"({"step":"init","code":5})"}));
    EXPECT_NE(outcome.err.find("Init failed with 5"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("warning"), std::string::npos) << outcome.err;

    outcome = Run({"--module", FakeAgent(), "--without", "HKSettings", "wait", "0"});
    EXPECT_EQ(outcome.code, kExitInitFailed);
    EXPECT_EQ(outcome.lines, (std::vector<std::string>{R"({"step":"init","code":-1})"}));
}

TEST_F(HostRunTest, WarnsOfPluginsAndNodesNotGivenBack) {
    WriteHostFile(SettingsFile(m_home.Path()),
                  R"({"/Fake": {"keepPlugin": {"bool": true}, "keepNode": {"bool": true}}})");
    Outcome outcome = Run({"--module", FakeAgent(), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitOk);
    EXPECT_NE(outcome.err.find("warning: plugin \"HKSettings\" was got 1 time and released 0 "
                               "times"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("warning: settings node \"/Fake\" was opened 1 time and "
                               "released 0 times"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(outcome.err.find("productinfo"), std::string::npos) << outcome.err;
}

TEST_F(HostRunTest, ABrokenHostFileStopsTheRunBeforeTheModuleAndIsKept) {
    const std::string broken = "{\"/Fake\": {\"starts\": {\"int64\": 1}},\n";
    WriteHostFile(SettingsFile(m_home.Path()), broken);
    Outcome outcome = Run({"--module", "/nowhere/NexiloAgent.so", "wait", "0"});
    EXPECT_EQ(outcome.code, kExitHostFiles);
    EXPECT_TRUE(outcome.lines.empty());
    EXPECT_NE(outcome.err.find("settings.json is no valid JSON: line 2"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(ReadHostFile(SettingsFile(m_home.Path())), broken);

    std::filesystem::remove(SettingsFile(m_home.Path()));
    WriteHostFile(ProductInfoFile(m_home.Path()), R"({"nexilo": {"zero": "x"}})");
    outcome = Run({"--module", FakeAgent(), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitHostFiles);
    EXPECT_NE(outcome.err.find("\"zero\" is no index"), std::string::npos) << outcome.err;
}

TEST_F(HostRunTest, TellsEachModuleProblemByItsExitCode) {
    Outcome outcome = Run({"wait", "0"});
    EXPECT_EQ(outcome.code, kExitModuleMissing);
    EXPECT_NE(outcome.err.find("no module at"), std::string::npos) << outcome.err;

    outcome = Run({"--module", Module(L"cvzc.dll"), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitExportMissing);
    EXPECT_NE(outcome.err.find("has no export CvCreateObject"), std::string::npos) << outcome.err;

    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT_REFUSE", L"create"));
    outcome = Run({"--module", FakeAgent(), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitCreateFailed);
    EXPECT_NE(outcome.err.find("CvCreateObject(\"Nexilo.NexiloAgent\", IServPlugin) answered "
                               "1168"),
              std::string::npos)
        << outcome.err;

    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT_REFUSE", L"agent"));
    outcome = Run({"--module", FakeAgent(), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitCreateFailed);
    EXPECT_NE(outcome.err.find("offers no INexiloAgent"), std::string::npos) << outcome.err;
    EXPECT_TRUE(outcome.lines.empty());
}

TEST_F(HostRunTest, AModuleWithoutACommandsExportStartsNothing) {
    // The stand-in offers GetNexiloInfo alone of the plain exports.
    Outcome outcome = Run({"--module", FakeAgent(), "user", "info", "com.example.app"});
    EXPECT_EQ(outcome.code, kExitExportMissing);
    EXPECT_TRUE(outcome.lines.empty());
    EXPECT_NE(outcome.err.find("has no export GetInfo, which the command info calls"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(ReadHostFile(SettingsFile(m_home.Path())), "") << "the object was never started";
}

TEST_F(HostRunTest, ShowsAMissingIdentityAndFailsTheUserCommand) {
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT_REFUSE", L"identity"));
    Outcome outcome = Run({"--module", FakeAgent(), "user", "wait", "0"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ASSERT_EQ(outcome.lines.size(), 5u);
    EXPECT_EQ(outcome.lines[2], R"({"step":"identity","found":false})");
    EXPECT_EQ(outcome.lines[3], R"({"command":"user","ok":false})");
    EXPECT_EQ(outcome.lines[4], R"({"step":"uninit"})");
    EXPECT_NE(outcome.err.find("user: GetNexiloInfo returned false"), std::string::npos)
        << outcome.err;
}

TEST_F(HostRunTest, HelpAndBadArguments) {
    Outcome outcome = Run({"--help"});
    EXPECT_EQ(outcome.code, kExitOk);
    std::string help;
    for (const std::string& line : outcome.lines) {
        help += line + "\n";
    }
    for (const char* part :
         {"ask SERVICE METHOD JSON", "wait SECONDS", "user", "info APPID", "field KEY NAME",
          "status APP N", "add-app APP NAME STATUS VERSION", "remove-app APP", "--without PLUGIN",
          "NexiloAgent.so beside the host", "settings.json", "evsink.jsonl", "productinfo.json",
          "  7  Init failed"}) {
        EXPECT_NE(help.find(part), std::string::npos) << part;
    }

    outcome = Run({"status", "app", "enabled"});
    EXPECT_EQ(outcome.code, kExitUsage);
    EXPECT_NE(outcome.err.find("status: the status must be a whole number"), std::string::npos)
        << outcome.err;

    outcome = Run({"ask", "s", "m", "{"});
    EXPECT_EQ(outcome.code, kExitUsage);
    EXPECT_NE(outcome.err.find("JSON is not valid JSON"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("host --help"), std::string::npos) << outcome.err;
}

} // namespace
} // namespace devkit::host
