#include "devkit/nodectl/nodectl_commands.h"

#include "devkit/common/devkit_home.h"
#include "platform/build_config.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <fstream>

namespace devkit::nodectl {
namespace {

#if defined(NEXILO_OS_WIN)
const std::string kNl = "\r\n";
#else
const std::string kNl = "\n";
#endif

class NodectlTest : public ::testing::Test {
protected:
    Outcome Run(std::vector<std::string> args) { return RunNodectl(args, m_file); }

    void WriteState(const std::string& json) {
        std::filesystem::create_directories(m_file.parent_path());
        std::ofstream(m_file, std::ios::binary) << json;
    }

    std::string ReadState() {
        std::string text;
        EXPECT_TRUE(ReadWholeFile(m_file, text));
        return text;
    }

    platform_testing::TempDir m_temp;
    std::filesystem::path m_file = m_temp.Path() / "node" / "state.json";
};

TEST_F(NodectlTest, ReadsTheUserAndAgentFieldsOrFailsWithoutThem) {
    Outcome none = Run({"shd_get_user"});
    EXPECT_EQ(none.exitCode, kExitMissingState);
    EXPECT_EQ(none.output, "");
    EXPECT_EQ(none.error, "nodectl: no user is signed in\n");

    WriteState(R"({"user": {"user_token": "T\u00e9", "device_id": "D"},
                   "agent_fields": {"globalex": {"anon_id": "abc"}}})");
    Outcome user = Run({"shd_get_user"});
    EXPECT_EQ(user.exitCode, kExitOk);
    EXPECT_EQ(user.output, "T\xc3\xa9" + kNl + "D" + kNl);
    EXPECT_EQ(user.error, "");
    EXPECT_EQ(Run({"shd_get_agent_field", "--key=globalex", "--field_name=anon_id"}).output,
              "abc" + kNl);
    EXPECT_EQ(Run({"shd_get_agent_field", "--key=globalex", "--field_name=other"}).exitCode,
              kExitMissingState);
}

TEST_F(NodectlTest, ApplicationsAreAddedChangedAndRemovedInTheStateFile) {
    EXPECT_EQ(
        Run({"shd_add_app", "--appid=a1", "--name=My App", "--status=pending", "--version=1.0"})
            .exitCode,
        kExitOk);
    EXPECT_NE(ReadState().find("\"pending\""), std::string::npos);
    EXPECT_EQ(Run({"shd_set_status", "--app_id=a1", "--status=enabled"}).exitCode, kExitOk);
    std::string state = ReadState();
    EXPECT_NE(state.find("\"My App\""), std::string::npos);
    EXPECT_NE(state.find("\"enabled\""), std::string::npos);
    EXPECT_EQ(state.find("\"pending\""), std::string::npos);

    EXPECT_EQ(Run({"shd_rem_app", "--appid=a1"}).exitCode, kExitOk);
    EXPECT_EQ(ReadState().find("a1"), std::string::npos);
    EXPECT_EQ(Run({"shd_rem_app", "--appid=a1"}).exitCode, kExitMissingState);
    EXPECT_EQ(Run({"shd_set_status", "--app_id=a1", "--status=enabled"}).exitCode,
              kExitMissingState);
}

TEST_F(NodectlTest, BadVerbsAndOptionsHaveTheirOwnCodesAndMessages) {
    struct Case {
        std::vector<std::string> args;
        int exitCode;
    } cases[] = {
        {{}, kExitBadVerb},
        {{"shd_nothing"}, kExitBadVerb},
        {{"y/nodectl.exe", "shd_get_user"}, kExitBadVerb},
        {{"shd_get_user", "--x=1"}, kExitBadOption},
        {{"shd_rem_app"}, kExitBadOption},
        {{"shd_rem_app", "--appid="}, kExitBadOption},
        {{"shd_rem_app", "appid=a"}, kExitBadOption},
        {{"shd_rem_app", "--appid=a", "--appid=b"}, kExitBadOption},
        {{"shd_set_status", "--appid=a", "--status=enabled"}, kExitBadOption},
        {{"shd_set_status", "--app_id=a", "--status=on"}, kExitBadOption},
        {{"shd_add_app", "--appid=a", "--name=n", "--status=enabled"}, kExitBadOption},
    };
    for (const Case& c : cases) {
        Outcome outcome = Run(c.args);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << (c.args.empty() ? "" : c.args[0]);
        EXPECT_EQ(outcome.error.rfind("nodectl: ", 0), 0u);
        EXPECT_EQ(outcome.output, "");
    }
    EXPECT_FALSE(std::filesystem::exists(m_file)); // nothing was written
}

TEST_F(NodectlTest, ScriptedAnswerGivesItsBytesAndExitCode) {
    WriteState(R"({"user": {"user_token": "T", "device_id": "D"},
                   "scripted": {"shd_get_user": {"output": "A\u0000B", "output_hex": "0d 0a",
                                                 "exit_code": 7}}})");
    Outcome outcome = Run({"shd_get_user"});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.output, std::string("A\0B\r\n", 5));
}

TEST_F(NodectlTest, BrokenStateFileIsReportedAndKept) {
    const std::string broken = R"({"apps": [1, 2]})";
    WriteState(broken);
    Outcome outcome =
        Run({"shd_add_app", "--appid=a", "--name=n", "--status=enabled", "--version=1"});
    EXPECT_EQ(outcome.exitCode, kExitStateFile);
    EXPECT_NE(outcome.error.find("\"apps\" is no object"), std::string::npos);
    EXPECT_EQ(ReadState(), broken);
    WriteState("{not json");
    EXPECT_EQ(Run({"shd_get_user"}).exitCode, kExitStateFile);
}

} // namespace
} // namespace devkit::nodectl
