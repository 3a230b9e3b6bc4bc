// The reference host driving the real agent module: Init with the host's plugins, Ask through the
// dev kit's cloud library, the module's plain exports through the dev kit's node tool, UnInit,
// destruction, every plugin given back.
#include "devkit/common/devkit_home.h"
#include "devkit/host/host_paths.h"
#include "devkit/host/host_run.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace devkit::host {
namespace {

class HostAgentTest : public testing::Test {
protected:
    void SetUp() override {
        // The cloud library and the node tool read their state from the dev kit home; the
        // registry stays inside the test's folder on POSIX.
        ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME",
                                                       WidePath(m_home.Path()).c_str()));
        ASSERT_TRUE(platform::WriteEnvironmentVariable(
            L"NEXILO_REGISTRY_ROOT", WidePath(m_home.Path() / "registry").c_str()));
        m_setup.home = m_home.Path();
        m_setup.defaultModule =
            WidePath(platform::testing::TestBinFolder() /
                     PathFromWide(platform::SystemModuleName(L"NexiloAgent.dll")));
    }
    void TearDown() override {
        platform::WriteEnvironmentVariable(L"NEXILO_DEVKIT_HOME", nullptr);
        platform::WriteEnvironmentVariable(L"NEXILO_REGISTRY_ROOT", nullptr);
    }

    void Write(const std::filesystem::path& file, const std::string& text) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    struct Outcome {
        int code = -1;
        std::string out;
        std::string err;
    };
    Outcome Run(const std::vector<std::string>& args) {
        std::ostringstream out;
        std::ostringstream err;
        Console console(out, err);
        Outcome outcome;
        outcome.code = RunHost(args, console, m_setup);
        outcome.out = out.str();
        outcome.err = err.str();
        return outcome;
    }
    std::string Read(const std::filesystem::path& file) {
        std::string text;
        ReadWholeFile(file, text);
        return text;
    }
    void SignIn() {
        Write(m_home.Path() / "node" / "state.json",
              R"({"user": {"user_token": "T1", "device_id": "D1"},
                  "agent_fields": {"globalex": {"anon_id": "anon-7 \r\n"}}})");
    }
    void ScriptGetInfo(const std::string& answer) {
        Write(m_home.Path() / "cloud" / "script.json",
              R"({"services": {"nexilo/user_info": {"getInfo": )" + answer + "}}}");
    }

    platform::testing::TempDir m_home;
    HostSetup m_setup;
};

// Each output line that the run must have printed, as a whole line.
void ExpectLines(const std::string& output, std::initializer_list<const char*> lines) {
    for (const char* line : lines) {
        EXPECT_NE(("\n" + output).find("\n" + std::string(line) + "\n"), std::string::npos)
            << line << "\nin:\n"
            << output;
    }
}

TEST_F(HostAgentTest, AsksTheCloudThroughTheStartedAgent) {
    Write(m_home.Path() / "cloud" / "script.json",
          R"({"services": {"nexilo/user_info": {"getInfo": {"result": {"email": "a@b.example"}}},
                           "nexilo/ping": {"ping": {"error": {"code": 5, "message": "later"}}}}})");
    Write(ProductInfoFile(m_home.Path()), R"({"update": {"0": "1.4.2.7"}})");

    std::ostringstream out;
    std::ostringstream err;
    Console console(out, err);
    const int code = RunHost({"ask", "nexilo/user_info", "getInfo", R"({"fields": ["email"]})",
                              "ask", "nexilo/ping", "ping", "{}"},
                             console, m_setup);
    EXPECT_EQ(code, kExitOk) << err.str();
    const std::string output = out.str();
    EXPECT_NE(output.find(R"({"step":"init","code":0})"), std::string::npos) << output;
    EXPECT_NE(output.find(R"({"command":"ask","service":"nexilo/user_info","method":"getInfo",)"
                          R"("code":0,"isError":false,"reply":{"email":"a@b.example"}})"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find(R"({"command":"ask","service":"nexilo/ping","method":"ping","code":0,)"
                          R"("isError":true,"reply":{"code":5,"message":"later"}})"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find(R"({"step":"uninit"})"), std::string::npos) << output;
    // Every plugin and settings node the agent took was given back.
    EXPECT_EQ(err.str().find("warning"), std::string::npos) << err.str();

    std::string requests;
    ASSERT_TRUE(ReadWholeFile(m_home.Path() / "cloud" / "requests.jsonl", requests));
    EXPECT_NE(requests.find("nexilo/user_info"), std::string::npos) << requests;
    EXPECT_NE(requests.find("fields"), std::string::npos) << requests;
}

TEST_F(HostAgentTest, DrivesTheNodeToolAndTheCloudThroughThePlainExports) {
    SignIn();
    ScriptGetInfo(R"({"result": {"email": "a@b.example", "name": "A"}})");
    Outcome outcome = Run({"user", "field", "globalex", "anon_id", "add-app", "app-1", "My App",
                           "2", "1.0", "status", "app-1", "0", "info", "com.example"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    ExpectLines(outcome.out,
                {R"({"step":"init","code":0})",
                 R"({"step":"identity","user_token":"T1","device_id":"D1"})",
                 R"({"command":"user","ok":true,"user_token":"T1","device_id":"D1"})",
                 R"({"command":"field","key":"globalex","name":"anon_id","ok":true,)"
                 R"("value":"anon-7"})",
                 R"({"command":"add-app","app_id":"app-1","name":"My App","status":2,)"
                 R"("version":"1.0","ok":true})",
                 R"({"command":"status","app_id":"app-1","status":0,"ok":true})",
                 R"({"command":"info","app_id":"com.example","ok":true,"email":"a@b.example"})",
                 R"({"step":"uninit"})"});
    EXPECT_EQ(outcome.err.find("warning"), std::string::npos) << outcome.err;
    const std::string state = Read(m_home.Path() / "node" / "state.json");
    EXPECT_NE(state.find(R"("name": "My App")"), std::string::npos) << state;
    EXPECT_NE(state.find(R"("status": "enabled")"), std::string::npos) << state;
    EXPECT_NE(
        Read(m_home.Path() / "cloud" / "requests.jsonl").find(R"(\"app_id\": \"com.example\")"),
        std::string::npos);

    outcome = Run({"remove-app", "app-1", "remove-app", "app-1", "user"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ExpectLines(outcome.out, {R"({"command":"remove-app","app_id":"app-1","ok":true})",
                              R"({"command":"remove-app","app_id":"app-1","ok":false})",
                              R"({"step":"uninit"})"});
    EXPECT_EQ(outcome.out.find(R"("command":"user")"), std::string::npos) << "not run after";
    EXPECT_NE(outcome.err.find("remove-app: RemoveApp returned false"), std::string::npos)
        << outcome.err;
}

TEST_F(HostAgentTest, ReportsTheValueExceptionThatGetInfoLetsOutAndStopsTheAgent) {
    SignIn();
    // An error text passes the export's judgement, and reading its "email" throws.
    ScriptGetInfo(R"({"error": "denied"})");
    Outcome outcome = Run({"info", "com.example", "user"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    EXPECT_NE(outcome.out.find(R"({"command":"info","app_id":"com.example","ok":false,)"
                               R"("exception":")"),
              std::string::npos)
        << outcome.out;
    ExpectLines(outcome.out, {R"({"step":"uninit"})"});
    EXPECT_EQ(outcome.out.find(R"("command":"user")"), std::string::npos);
    EXPECT_NE(outcome.err.find("info: GetInfo let out a cv::ValueException: "), std::string::npos)
        << outcome.err;
    EXPECT_EQ(outcome.err.find("warning"), std::string::npos) << outcome.err;
}

TEST_F(HostAgentTest, WithoutASignedInUserTheIdentityIsNotFound) {
    Outcome outcome = Run({"status", "app-1", "3"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ExpectLines(outcome.out, {R"({"step":"identity","found":false})",
                              R"({"command":"status","app_id":"app-1","status":3,"ok":false})"});
    EXPECT_FALSE(std::filesystem::exists(m_home.Path() / "node" / "state.json"))
        << "a status without a word starts no tool";
}

} // namespace
} // namespace devkit::host
