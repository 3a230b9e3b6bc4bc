#include "devkit/cloud/emulator_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace devkit::cloud;
using testing::HasSubstr;

TEST(EmulatorOptionsTest, DefaultsComeFromTheHomeAndOptionsReplaceThem) {
    std::string error;
    const auto defaults = ParseEmulatorOptions({}, "/h", error);
    ASSERT_TRUE(defaults) << error;
    EXPECT_EQ(defaults->host, "127.0.0.1");
    EXPECT_EQ(defaults->port, 0);
    EXPECT_EQ(defaults->store, "/h/cloud/emulator.db");
    EXPECT_FALSE(defaults->seed);

    const auto given = ParseEmulatorOptions(
        {"--host=::1", "--port=65535", "--home=/o", "--seed=/s.json"}, "/h", error);
    ASSERT_TRUE(given) << error;
    EXPECT_EQ(given->host, "::1");
    EXPECT_EQ(given->port, 65535);
    EXPECT_EQ(given->store, "/o/cloud/emulator.db") << "the store follows the given home";
    EXPECT_EQ(given->seed, "/s.json");
    EXPECT_EQ(ParseEmulatorOptions({"--store=/x.db"}, "/h", error)->store, "/x.db");
}

TEST(EmulatorOptionsTest, WhatItDoesNotUnderstandIsNamed) {
    const std::pair<const char*, const char*> rows[] = {
        {"--port=65536", "--port takes a number from 0 to 65535, got \"65536\""},
        {"--port=12ab", "--port takes a number"},
        {"--port=-1", "--port takes a number"},
        {"--port", "expected --option=value, got \"--port\""},
        {"--store=", "expected --option=value"},
        {"--verbose=1", "unknown option \"--verbose\""},
    };
    for (const auto& [argument, message] : rows) {
        std::string error;
        EXPECT_FALSE(ParseEmulatorOptions({argument}, "/h", error)) << argument;
        EXPECT_THAT(error, HasSubstr(message)) << argument;
    }
}

} // namespace
