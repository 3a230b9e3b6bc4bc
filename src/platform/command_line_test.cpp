#include "platform/command_line.h"

#include <gtest/gtest.h>

#include <iterator>

namespace platform {
namespace {

struct SplitCase {
    const wchar_t* line;
    std::vector<std::wstring> args;
};

TEST(CommandLineTest, SplitsAsTheWindowsRuntimeDoes) {
    const SplitCase cases[] = {
        {L"prog a b", {L"prog", L"a", L"b"}},
        {L"prog --key=\"globalex\" --field_name=\"anon_id\"",
         {L"prog", L"--key=globalex", L"--field_name=anon_id"}},
        {L"\"C:\\Program Files\\x.exe\" a", {L"C:\\Program Files\\x.exe", L"a"}},
        // The program name knows no escapes; quotes in it only switch quoting.
        {L"\"C:\\dir\\\"a b", {L"C:\\dir\\a", L"b"}},
        {L"pro\"g x\" y", {L"prog x", L"y"}},
        {L"\"prog", {L"prog"}},
        {L"prog\tA", {L"prog", L"A"}},
        // Backslashes are literal unless a quote follows them.
        {L"prog a\\\\b c\\", {L"prog", L"a\\\\b", L"c\\"}},
        {L"prog a\\\\\\\\\"b c\"", {L"prog", L"a\\\\b c"}},
        {L"prog a\\\\\\\"b", {L"prog", L"a\\\"b"}},
        {L"prog \"a\\\\\" b", {L"prog", L"a\\", L"b"}},
        // A doubled quote inside quotes is one literal quote; outside it is an empty quoted part.
        {L"prog \"a\"\"b\" c", {L"prog", L"a\"b", L"c"}},
        {L"prog \"a\"\"b c\"", {L"prog", L"a\"b c"}},
        {L"prog \"a\"\"\"b c\" d", {L"prog", L"a\"b", L"c d"}},
        {L"prog a\"\"b c", {L"prog", L"ab", L"c"}},
        {L"prog \"\"\"\" e", {L"prog", L"\"", L"e"}},
        {L"prog \"\" x", {L"prog", L"", L"x"}},
        {L"prog \"unclosed arg", {L"prog", L"unclosed arg"}},
        {L"prog   a \t b  ", {L"prog", L"a", L"b"}},
        {L"", {L""}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(SplitCommandLine(cases[i].line), cases[i].args) << "case " << i;
    }
}

TEST(CommandLineTest, ProgramCandidatesFollowCreateProcess) {
    EXPECT_EQ(ProgramNameCandidates(L"C:\\a b\\c.exe x"),
              (std::vector<std::wstring>{L"C:\\a", L"C:\\a b\\c.exe", L"C:\\a b\\c.exe x"}));
    EXPECT_EQ(ProgramNameCandidates(L"\"C:\\a b\\c.exe\" x"),
              (std::vector<std::wstring>{L"C:\\a b\\c.exe"}));
    EXPECT_EQ(ProgramNameCandidates(L"x  y "), (std::vector<std::wstring>{L"x", L"x  y"}));
    EXPECT_EQ(ProgramNameCandidates(L"\"open"), (std::vector<std::wstring>{L"open"}));
}

TEST(CommandLineTest, WindowsProgramNamesLoseTheirExeOnPosix) {
    EXPECT_EQ(PosixProgramName(L"/opt/x/nodectl.exe"), L"/opt/x/nodectl");
    EXPECT_EQ(PosixProgramName(L"NODECTL.EXE"), L"NODECTL");
    EXPECT_EQ(PosixProgramName(L"/opt/x/nodectl"), L"/opt/x/nodectl");
    EXPECT_EQ(PosixProgramName(L"/opt/x/.exe"), L"/opt/x/.exe");
    EXPECT_EQ(PosixProgramName(L"tool.exe.bak"), L"tool.exe.bak");
}

} // namespace
} // namespace platform
