// The host's whole run, in-process: against the real agent module (Init with the host's plugins,
// Ask through the dev kit's cloud library, the module's plain exports through the dev kit's node
// tool, UnInit, every plugin given back), and against a stand-in module for the failures that the
// real agent never shows.
#include "devkit/host/host_paths.h"
#include "devkit/host/host_run.h"
#include "platform/child_process.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/named_event.h"
#include "platform/testing/scratch_home.h"
#include "platform/testing/test_bin.h"
#include "platform/utf8.h"
#include "process/user_changed_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace devkit::host {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kSignedIn = R"({"user": {"user_token": "T1", "device_id": "D1"},
    "agent_fields": {"globalex": {"anon_id": "anon-7 \r\n"}}})";

std::string Module(const wchar_t* name) {
    return PathText(platform_testing::TestBinFolder() /
                    PathFromWide(platform::SystemModuleName(name)));
}

// The lines, each a whole line of `output` and in this order.
void ExpectLines(const std::string& output, std::initializer_list<const char*> lines) {
    std::size_t from = 0;
    for (const char* line : lines) {
        const std::size_t at = ("\n" + output).find("\n" + std::string(line) + "\n", from);
        ASSERT_NE(at, std::string::npos) << line << "\nin order in:\n" << output;
        from = at + 1;
    }
}

// The exit code of a program of the build, run to its end with the test's streams.
std::uint32_t RunProgram(const std::string& name, const std::wstring& arguments) {
    const std::wstring line =
        L"\"" + platform_testing::TestProgram(name).wstring() + L"\" " + arguments;
    platform::ChildStart start;
    start.commandLine = line;
    platform::StartResult started = platform::SystemProcessLauncher().Start(start);
    std::uint32_t code = platform::kStillActive;
    if (!started.child || started.child->Wait() != 0 || started.child->GetExitCode(code) != 0) {
        ADD_FAILURE() << "cannot run " << name;
    }
    return code;
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class HostRunTest : public testing::Test {
protected:
    HostRunTest() {
        // The agent's registry stays inside the test's folder on POSIX.
        platform::WriteEnvironmentVariable(L"NEXILO_REGISTRY_ROOT",
                                           WidePath(m_home.Path() / "registry").c_str());
        // The agents of this process wait on an event of their own: one name for the whole
        // process, as the module takes it once.
        static const std::wstring space =
            L"host-tests-" +
            std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count());
        platform::WriteEnvironmentVariable(process::kEventNamespaceVariable, space.c_str());
        m_setup.home = m_home.Path();
        m_setup.defaultModule = platform::Utf8ToWide(Module(L"NexiloAgent.dll"));
    }
    ~HostRunTest() override {
        platform::DiscardNamedEvent(process::UserChangedEventName());
        platform::WriteEnvironmentVariable(L"NEXILO_REGISTRY_ROOT", nullptr);
        platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT", nullptr);
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
        const int code = RunHost(args, console, m_setup);
        return {code, out.str(), err.str()};
    }

    platform_testing::ScratchHome m_home;
    HostSetup m_setup;
};

TEST_F(HostRunTest, DrivesTheAgentThroughTheCloudAndTheNodeTool) {
    m_home.Write("node/state.json", kSignedIn);
    m_home.Write("cloud/script.json", R"({"services": {
        "nexilo/user_info": {"getInfo": {"result": {"email": "a@b.example"}}},
        "nexilo/ping": {"ping": {"error": {"code": 5, "message": "later"}}}}})");
    Outcome outcome = Run({"ask",      "nexilo/user_info",
                           "getInfo",  R"({"fields": ["email"]})",
                           "ask",      "nexilo/ping",
                           "ping",     "{}",
                           "user",     "field",
                           "globalex", "anon_id",
                           "add-app",  "app-1",
                           "My App",   "2",
                           "1.0",      "status",
                           "app-1",    "0",
                           "info",     "com.example"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    ExpectLines(outcome.out,
                {R"({"step":"init","code":0})",
                 R"({"step":"identity","user_token":"T1","device_id":"D1"})",
                 R"({"command":"ask","service":"nexilo/user_info","method":"getInfo","code":0,)"
                 R"("isError":false,"reply":{"email":"a@b.example"}})",
                 R"({"command":"ask","service":"nexilo/ping","method":"ping","code":0,)"
                 R"("isError":true,"reply":{"code":5,"message":"later"}})",
                 R"({"command":"user","ok":true,"user_token":"T1","device_id":"D1"})",
                 R"({"command":"field","key":"globalex","name":"anon_id","ok":true,)"
                 R"("value":"anon-7"})",
                 R"({"command":"add-app","app_id":"app-1","name":"My App","status":2,)"
                 R"("version":"1.0","ok":true})",
                 R"({"command":"status","app_id":"app-1","status":0,"ok":true})",
                 R"({"command":"info","app_id":"com.example","ok":true,"email":"a@b.example"})",
                 R"({"step":"uninit"})"});
    EXPECT_THAT(outcome.err, Not(HasSubstr("warning"))) << "every plugin and node given back";
    const std::string state = m_home.Read("node/state.json");
    EXPECT_THAT(state, HasSubstr(R"("name": "My App")"));
    EXPECT_THAT(state, HasSubstr(R"("status": "enabled")"));
    const std::string requests = m_home.Read("cloud/requests.jsonl");
    EXPECT_THAT(requests, HasSubstr(R"(\"fields\": [\"email\"])"));
    EXPECT_THAT(requests, HasSubstr(R"(\"app_id\": \"com.example\")"));

    outcome = Run({"remove-app", "app-1", "remove-app", "app-1", "user"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ExpectLines(outcome.out, {R"({"command":"remove-app","app_id":"app-1","ok":true})",
                              R"({"command":"remove-app","app_id":"app-1","ok":false})",
                              R"({"step":"uninit"})"});
    EXPECT_THAT(outcome.out, Not(HasSubstr(R"("command":"user")"))) << "no command after";
    EXPECT_THAT(outcome.err, HasSubstr("remove-app: RemoveApp returned false"));
}

// The node service signs a user in while the host's agent runs. The test holds the event, so a
// signal that comes before the agent waits stays set for it, as on Windows while the node
// service's own handle is open.
TEST_F(HostRunTest, TheNodeServicesLoginReachesTheSubscriberAndTheNewIdentityShows) {
    platform::NamedEventResult held =
        platform::SystemNamedEvents().CreateOrOpen(process::UserChangedEventName());
    ASSERT_TRUE(held.event);
    Outcome outcome;
    std::thread host([&] { outcome = Run({"wait-event", "nexilo_user_changed", "120", "user"}); });
    const std::uint32_t code =
        RunProgram("ProductNodeService", L"login --user_token=T9 --device_id=D9");
    host.join();
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    ExpectLines(outcome.out, {R"({"event":"nexilo_user_changed","data":{"nexilo_success":true}})",
                              R"({"command":"wait-event","name":"nexilo_user_changed","ok":true})",
                              R"({"command":"user","ok":true,"user_token":"T9","device_id":"D9"})",
                              R"({"step":"uninit"})"});
    EXPECT_EQ(Count(outcome.out, "nexilo_user_changed\",\"data"), 1u);
}

TEST_F(HostRunTest, ATestCampaignIsAnnouncedOnceAndIsTheCampaignOfTheNextRun) {
    Outcome outcome = Run({"send-command", R"({"method":"trigger_ipm","display_count":3})",
                           "ipm-state-set", "false", "ipm-state"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    ExpectLines(outcome.out, {R"({"event":"new_campaign","data":{"url":"https://ipm.corvane.)"
                              R"(example/cvipm/3467/163068/windows/JA96iNwLCe.html","width":738,)"
                              R"("height":400,"validity":1638761288,"display_count":3}})",
                              R"({"command":"send-command","code":0})",
                              R"({"command":"ipm-state-set","state":false,"code":0})",
                              R"({"command":"ipm-state","state":true,"code":0})"});
    EXPECT_EQ(Count(outcome.out, R"("event":"new_campaign")"), 1u);

    outcome = Run({"campaign", "campaign-set", R"({"url": "u"})", "campaign"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(R"("width":738,"height":400,"validity":1638761288,)"
                                       R"("display_count":3},"code":0})"));
    ExpectLines(outcome.out, {R"({"command":"campaign-set","code":0})",
                              R"({"command":"campaign","campaign":{"url":"u"},"code":0})"});
    const std::string settings = m_home.Read("host/settings.json");
    EXPECT_THAT(settings, HasSubstr(R"("display_count": {)"));
    EXPECT_THAT(settings, HasSubstr(R"("state": {)"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("warning")));
}

TEST_F(HostRunTest, PushedNotificationAndCommandReachTheirCallbacksOnceWithTheirData) {
    m_home.Write("notification.json", R"({"type": "notification", "message": {"app_fields":
        {"notification_id": "n1", "timestamp": 1700000000123, "notification_params": {"k": 1}},
        "user_fields": {"text": "Hello"}}})");
    m_home.Write("command.json", R"({"type": "event", "target": {"app_id": "A", "device_id": "D"},
        "message": {"app_fields": {"event": "command", "timestamp": 18, "event_params":
        {"command": "scan", "command_id": "c1", "command_params": ["deep"]}}}})");
    const Outcome outcome =
        Run({"push-test", "notification", "A", "D", "push-test", "command", "A", "D", "push-send",
             PathText(m_home.Path() / "notification.json"), "push-send",
             PathText(m_home.Path() / "command.json"), "push-wait", "2", "60"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    ExpectLines(outcome.out,
                {R"({"command":"push-test","type":"notification","topic":1,"app_id":"A",)"
                 R"("device_id":"D","ok":true})",
                 R"({"command":"push-test","type":"command","topic":2,"app_id":"A",)"
                 R"("device_id":"D","ok":true})",
                 R"({"command":"push-wait","count":2,"received":2})", R"({"step":"uninit"})"});
    // The two clients' sessions deliver on threads of their own, in either order.
    for (const std::string line :
         {R"({"push":"notification","topic":1,"id":"n1","text":"Hello","params":{"k":1},)"
          R"("timestamp":1700000000123})",
          R"({"push":"command","topic":2,"command":"scan","command_id":"c1","params":["deep"],)"
          R"("timestamp":18})"}) {
        const std::string text = "\n" + outcome.out;
        const std::size_t first = text.find("\n" + line + "\n");
        EXPECT_NE(first, std::string::npos) << line << "\nin:\n" << outcome.out;
        EXPECT_EQ(text.find("\n" + line + "\n", first + 1), std::string::npos) << "once: " << line;
    }
    EXPECT_THAT(m_home.Read("cloud/requests.jsonl"), HasSubstr(R"("delivered":1)"));
}

TEST_F(HostRunTest, ReportsTheValueExceptionThatGetInfoLetsOutAndStopsTheAgent) {
    m_home.Write("node/state.json", kSignedIn);
    // An error text passes the export's judgement, and reading its "email" throws.
    m_home.Write("cloud/script.json",
                 R"({"services": {"nexilo/user_info": {"getInfo": {"error": "denied"}}}})");
    Outcome outcome = Run({"info", "com.example", "user"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    EXPECT_THAT(outcome.out, HasSubstr(R"({"command":"info","app_id":"com.example","ok":false,)"
                                       R"("exception":")"));
    ExpectLines(outcome.out, {R"({"step":"uninit"})"});
    EXPECT_THAT(outcome.out, Not(HasSubstr(R"("command":"user")")));
    EXPECT_THAT(outcome.err, HasSubstr("info: GetInfo let out a cv::ValueException: "));
    EXPECT_THAT(outcome.err, Not(HasSubstr("warning")));
}

TEST_F(HostRunTest, WithoutASignedInUserTheIdentityIsNotFound) {
    Outcome outcome = Run({"status", "app-1", "3"});
    EXPECT_EQ(outcome.code, kExitCommandFailed);
    ExpectLines(outcome.out, {R"({"step":"identity","found":false})",
                              R"({"command":"status","app_id":"app-1","status":3,"ok":false})"});
    EXPECT_EQ(m_home.Read("node/state.json"), "") << "a status without a user starts no tool";
}

TEST_F(HostRunTest, AFailedInitRunsNoCommandAndNoUnInitButGivesEverythingBack) {
    m_home.Write("cloud/script.json", R"({"init": {"code": 3, "handle": false}})");
    Outcome outcome = Run({"user"});
    EXPECT_EQ(outcome.code, kExitInitFailed);
    EXPECT_EQ(outcome.out, "{\"step\":\"init\",\"code\":-1}\n");
    EXPECT_THAT(outcome.err, HasSubstr("Init failed with -1"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("warning")));
}

TEST_F(HostRunTest, PrintsTheAgentsEventsAmongTheSteps) {
    Outcome outcome = Run({"--module", Module(L"host_fake_agent.dll"), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitOk) << outcome.err;
    EXPECT_EQ(outcome.out, R"({"event":"fake_started","data":true}
{"step":"init","code":0}
{"step":"identity","user_token":"token","device_id":"device"}
{"command":"wait","seconds":0}
{"step":"uninit"}
)");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(HostRunTest, WarnsOfAPluginAndANodeNotGivenBack) {
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT", L"keep"));
    Outcome outcome = Run({"--module", Module(L"host_fake_agent.dll"), "wait", "0"});
    EXPECT_EQ(outcome.code, kExitOk);
    EXPECT_THAT(outcome.err, HasSubstr("warning: plugin \"HKSettings\" was got 1 time and "
                                       "released 0 times"));
    EXPECT_THAT(outcome.err, HasSubstr("warning: settings node \"/Fake\" was opened 1 time and "
                                       "released 0 times"));
}

TEST_F(HostRunTest, HelpNamesTheCommandsAndExitCodes) {
    Outcome outcome = Run({"--help"});
    EXPECT_EQ(outcome.code, kExitOk);
    EXPECT_THAT(outcome.out, HasSubstr("add-app APP NAME STATUS VERSION"));
    EXPECT_THAT(outcome.out, HasSubstr("  7  Init failed"));
}

struct FailedRun {
    const char* name;
    const wchar_t* module;   // the --module, or null for none
    const wchar_t* fakeMode; // NEXILO_FAKE_AGENT, or null
    const char* file;        // a file of the dev kit home to write first, or null
    const char* text;
    const char* commands; // words split at spaces
    int code;
    const char* message; // a part of the error output
};

class HostRunFailureTest : public HostRunTest, public testing::WithParamInterface<FailedRun> {};

TEST_P(HostRunFailureTest, StopsWithItsExitCodeBeforeTheAgentStarts) {
    const FailedRun& c = GetParam();
    platform::WriteEnvironmentVariable(L"NEXILO_FAKE_AGENT", c.fakeMode);
    if (c.file != nullptr) {
        m_home.Write(c.file, c.text);
    }
    std::vector<std::string> args;
    if (c.module != nullptr) {
        args = {"--module", Module(c.module)};
    }
    std::istringstream words(c.commands);
    for (std::string word; words >> word;) {
        args.push_back(word);
    }
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
    EXPECT_EQ(outcome.out, "");
    if (c.file != nullptr) {
        EXPECT_EQ(m_home.Read(c.file), c.text) << "the host never overwrites its files";
    }
}

constexpr const wchar_t* kFake = L"host_fake_agent.dll";

INSTANTIATE_TEST_SUITE_P(
    Runs, HostRunFailureTest,
    testing::Values(
        FailedRun{"BadArguments", nullptr, nullptr, nullptr, "", "ask s m {", kExitUsage,
                  "JSON is not valid JSON"},
        FailedRun{"BadFlag", nullptr, nullptr, nullptr, "", "ipm-state-set yes", kExitUsage,
                  "must be true or false"},
        FailedRun{"BadPushType", nullptr, nullptr, nullptr, "", "push-test alert A D", kExitUsage,
                  "TYPE must be event, notification or command"},
        FailedRun{"NoPushMessageFile", nullptr, nullptr, nullptr, "", "push-send no-such.json",
                  kExitUsage, "push-send: cannot read no-such.json"},
        FailedRun{"BrokenSettings", L"missing.dll", nullptr, "host/settings.json",
                  "{\"/Fake\": {\"starts\": {\"int64\": 1}},\n", "wait 0", kExitHostFiles,
                  "settings.json is no valid JSON: line 2"},
        FailedRun{"BrokenProductInfo", kFake, nullptr, "host/productinfo.json",
                  R"({"nexilo": {"zero": "x"}})", "wait 0", kExitHostFiles, "\"zero\" is no index"},
        FailedRun{"NoModule", L"missing.dll", nullptr, nullptr, "", "wait 0", kExitModuleMissing,
                  "no module at"},
        FailedRun{"NoFactory", L"cvzc.dll", nullptr, nullptr, "", "wait 0", kExitExportMissing,
                  "has no export CvCreateObject"},
        FailedRun{"NoExportForACommand", kFake, nullptr, nullptr, "", "user info x",
                  kExitExportMissing, "has no export GetInfo, which the command info calls"},
        FailedRun{"ObjectRefused", kFake, L"refuse", nullptr, "", "wait 0", kExitCreateFailed,
                  "CvCreateObject(\"Nexilo.NexiloAgent\", IServPlugin) answered 1168"},
        FailedRun{"NoAgentInterface", kFake, L"no-agent", nullptr, "", "wait 0", kExitCreateFailed,
                  "offers no INexiloAgent"}),
    [](const testing::TestParamInfo<FailedRun>& info) { return std::string(info.param.name); });

} // namespace
} // namespace devkit::host
