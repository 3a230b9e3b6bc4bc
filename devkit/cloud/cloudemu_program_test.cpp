// The emulator program as scripts start it: it says where it serves, writes its address into the
// dev kit home, stops on SIGTERM and takes the address away; it refuses to start with a reason.
#include "devkit/cloud/emulator_address.h"
#include "devkit/cloud/emulator_client.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"
#include "platform/testing/test_bin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

extern char** environ;

namespace {

using testing::HasSubstr;

// Starts the program with its output (both streams) going to `output`.
pid_t Start(const std::vector<std::string>& arguments, const std::filesystem::path& output) {
    const std::string program = platform_testing::TestProgram("cloudemu").string();
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = -1;
    posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

int ExitCode(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(CloudemuProgramTest, ServesFromItsSeedUntilSigtermAndTakesItsAddressAway) {
    platform_testing::TempDir home;
    platform_testing::WriteFile(home.Path() / "seed.json",
                                R"({"accounts": [{"user_token": "T", "email": "e@example.com",
                                    "devices": [{"device_id": "D"}]}]})");
    const auto address = devkit::cloud::EmulatorAddressFile(home.Path());
    const auto output = home.Path() / "output.txt";
    const pid_t pid =
        Start({"--home=" + home.Path().string(), "--seed=" + (home.Path() / "seed.json").string()},
              output);
    ASSERT_GT(pid, 0);

    std::string error;
    std::optional<std::string> url;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!url && std::chrono::steady_clock::now() < deadline) {
        url = devkit::cloud::ReadEmulatorUrl(address, error);
        std::this_thread::yield();
    }
    ASSERT_TRUE(url) << "no address in " << address << " " << error;
    const auto reply = devkit::cloud::EmulatorClient(*url).Ask(
        "nexilo/user_info", 5000, 1,
        R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1, "params": {"nexilo_source": )"
        R"({"user_token": "T", "app_id": "A", "device_id": "D"}}})");
    EXPECT_THAT(reply.text, HasSubstr("e@example.com")) << reply.error;

    kill(pid, SIGTERM);
    EXPECT_EQ(ExitCode(pid), 0);
    EXPECT_FALSE(std::filesystem::exists(address));
    EXPECT_TRUE(std::filesystem::exists(home.Path() / "cloud" / "emulator.db"));
    const std::string printed = platform_testing::ReadFile(output);
    EXPECT_THAT(printed, HasSubstr("cloudemu: serving " + *url));
    EXPECT_THAT(printed, HasSubstr("cloudemu: stopped"));
}

TEST(CloudemuProgramTest, RefusesToStartWithAReason) {
    platform_testing::TempDir home;
    platform_testing::WriteFile(home.Path() / "garbage.db", std::string(4096, 'x'));
    platform_testing::WriteFile(home.Path() / "bad-seed.json", R"({"accounts": {}})");
    const std::string homeOption = "--home=" + home.Path().string();
    struct Row {
        std::vector<std::string> arguments;
        int code;
        std::string reason;
    };
    const Row rows[] = {
        {{homeOption, "--host=0.0.0.0"}, 1, "refusing to listen on 0.0.0.0"},
        {{homeOption, "--store=" + (home.Path() / "garbage.db").string()},
         1,
         "cannot use the store " + (home.Path() / "garbage.db").string()},
        {{homeOption, "--seed=" + (home.Path() / "missing.json").string()},
         1,
         "cannot read the seed"},
        {{homeOption, "--seed=" + (home.Path() / "bad-seed.json").string()},
         1,
         "array \"accounts\""},
        {{homeOption, "--port=http"}, 2, "usage: cloudemu"},
    };
    for (const Row& row : rows) {
        const auto output = home.Path() / "output.txt";
        const pid_t pid = Start(row.arguments, output);
        ASSERT_GT(pid, 0);
        EXPECT_EQ(ExitCode(pid), row.code) << row.reason;
        EXPECT_THAT(platform_testing::ReadFile(output), HasSubstr(row.reason));
        EXPECT_FALSE(std::filesystem::exists(devkit::cloud::EmulatorAddressFile(home.Path())));
    }
}

} // namespace
