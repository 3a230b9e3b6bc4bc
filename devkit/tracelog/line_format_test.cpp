#include "devkit/tracelog/line_format.h"

#include <gtest/gtest.h>

namespace devkit::tracelog {
namespace {

TEST(LineFormatTest, LaysOutTimeThreadLevelDepthFunctionAndMessage) {
    // 2000-02-29 13:14:15.016 UTC: a leap day checks the calendar arithmetic.
    LineFields fields{951830055016, 4711, 16, 2, "Agent::Init", "started"};
    EXPECT_EQ(FormatLine(fields), "2000-02-29 13:14:15.016Z 4711 INFO  ....Agent::Init: started\n");

    fields = {0, 1, 4, 0, "f", ""};
    EXPECT_EQ(FormatLine(fields), "1970-01-01 00:00:00.000Z 1 ERROR f: \n");

    // A negative depth never indents, and a level without a name shows its number.
    fields = {86400000LL * 365 - 1, 2, 64, -3, "g", "x"};
    EXPECT_EQ(FormatLine(fields), "1970-12-31 23:59:59.999Z 2 L64   g: x\n");
}

TEST(LineFormatTest, ParsesLevelsByNameOrNumber) {
    struct Case {
        const char* text;
        bool ok;
        std::uint32_t level;
    } cases[] = {{"error", true, 4},  {"WARNING", true, 8}, {" info ", true, 16},
                 {"Trace", true, 32}, {"off", true, 0},     {"24", true, 24},
                 {"", false, 99},     {"loud", false, 99},  {"12abc", false, 99}};
    for (const Case& c : cases) {
        std::uint32_t level = 99;
        EXPECT_EQ(ParseLevel(c.text, level), c.ok) << c.text;
        EXPECT_EQ(level, c.level) << c.text;
    }
}

} // namespace
} // namespace devkit::tracelog
