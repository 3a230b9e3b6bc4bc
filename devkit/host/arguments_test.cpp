// The host's command line: what it accepts and the message for each kind of mistake.
#include "devkit/host/arguments.h"

#include <gtest/gtest.h>

namespace devkit::host {
namespace {

TEST(ArgumentsTest, TakesOptionsThenSeveralCommandsWithTheirOperands) {
    ParsedArguments parsed = ParseHostArguments(
        {"--module", "a/NexiloAgent.so", "--without=evsink", "--without", "productinfo", "--",
         "ask", "nexilo/ping", "ping", "{\"a\": [1, 2]}", "wait", "0", "status", "app", "-1"});
    ASSERT_EQ(parsed.error, "");
    const HostArguments& arguments = parsed.arguments;
    EXPECT_FALSE(arguments.help);
    EXPECT_EQ(arguments.module, "a/NexiloAgent.so");
    EXPECT_EQ(arguments.withheld, (std::set<std::string>{"evsink", "productinfo"}));
    const auto& commands = arguments.commands;
    ASSERT_EQ(commands.size(), 3u);
    EXPECT_STREQ(commands[0].command->name, "ask");
    EXPECT_EQ(commands[0].command->moduleExport, nullptr);
    EXPECT_EQ(commands[0].operands,
              (std::vector<std::string>{"nexilo/ping", "ping", "{\"a\": [1, 2]}"}));
    EXPECT_STREQ(commands[1].command->name, "wait");
    // An operand that looks like an option is an operand.
    EXPECT_EQ(commands[2].operands, (std::vector<std::string>{"app", "-1"}));
    EXPECT_STREQ(commands[2].command->moduleExport, "SetStatus");
}

TEST(ArgumentsTest, HelpNeedsNoCommand) {
    for (const auto& args :
         {std::vector<std::string>{"--help"}, {"-h"}, {"--module=x", "--help"}}) {
        ParsedArguments parsed = ParseHostArguments(args);
        EXPECT_EQ(parsed.error, "");
        EXPECT_TRUE(parsed.arguments.help);
    }
}

struct BadArguments {
    std::vector<std::string> args;
    const char* message; // a part of the error
};

class BadArgumentsTest : public testing::TestWithParam<BadArguments> {};

TEST_P(BadArgumentsTest, AreRefusedWithAMessage) {
    ParsedArguments parsed = ParseHostArguments(GetParam().args);
    EXPECT_NE(parsed.error.find(GetParam().message), std::string::npos) << parsed.error;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadArgumentsTest,
    testing::Values(BadArguments{{}, "no command given"},
                    BadArguments{{"--module", "m"}, "no command given"},
                    BadArguments{{"--verbose", "wait", "1"}, "unknown option \"--verbose\""},
                    BadArguments{{"--module"}, "--module needs a value"},
                    BadArguments{{"--module="}, "--module needs a path"},
                    BadArguments{{"--module", "a", "--module", "b", "wait", "1"}, "twice"},
                    BadArguments{{"--without", "cvzc", "wait", "1"}, "unknown plugin \"cvzc\""},
                    BadArguments{{"--help=yes"}, "takes no value"},
                    BadArguments{{"login"}, "unknown command \"login\" (commands: ask, wait"},
                    BadArguments{{"wait", "1", "--module", "m"}, "options go before the commands"},
                    BadArguments{{"ask", "s", "m"},
                                 "ask needs 3 operands: ask SERVICE METHOD JSON"},
                    BadArguments{{"wait"}, "wait needs 1 operand: wait SECONDS"},
                    BadArguments{{"ask", "s", "m", "{\"a\":"}, "JSON is not valid JSON (line 1"},
                    BadArguments{{"ask", "", "m", "{}"}, "SERVICE must not be empty"},
                    BadArguments{{"ask", "s", "", "{}"}, "METHOD must not be empty"},
                    BadArguments{{"wait", "-1"}, "whole number from 0 to 86400"},
                    BadArguments{{"wait", "86401"}, "whole number from 0 to 86400"},
                    BadArguments{{"wait", "1x"}, "whole number"},
                    BadArguments{{"wait", "1", "ask", "s", "m"}, "ask needs 3 operands"},
                    BadArguments{{"status", "a"}, "status needs 2 operands: status APP N"},
                    BadArguments{{"status", "a", "1.5"}, "status must be a whole number"},
                    BadArguments{{"status", "a", ""}, "status must be a whole number"},
                    BadArguments{{"status", "a", "+1"}, "status must be a whole number"},
                    BadArguments{{"status", "a", "2147483648"}, "status must be a whole number"},
                    BadArguments{{"add-app", "a", "n", "pending", "1"},
                                 "add-app: the status must be a whole number"}));

} // namespace
} // namespace devkit::host
