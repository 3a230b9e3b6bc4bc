#include "platform/os_version.h"

#include "platform/build_config.h"

#include <gtest/gtest.h>

#include <optional>

namespace platform {
namespace {

TEST(OsVersionTest, ParsesKernelReleases) {
    struct Case {
        const char* release;
        std::optional<OsVersion> expected;
    };
    const Case cases[] = {
        {"6.1.0-18-amd64", OsVersion{6, 1, 0}},
        {"5.10.0", OsVersion{5, 10, 0}},
        {"4.19.0-rc1", OsVersion{4, 19, 0}},
        {"5.15.90.1-microsoft-standard-WSL2", OsVersion{5, 15, 90}},
        {"6.8", OsVersion{6, 8, 0}},
        {"6.8-rc3", OsVersion{6, 8, 0}},
        {"3.2.x", OsVersion{3, 2, 0}},
        {"garbage", std::nullopt},
        {"", std::nullopt},
        {"6", std::nullopt},
        {"6.", std::nullopt},
        {".1.2", std::nullopt},
        {"-6.1.0", std::nullopt},
        {"4294967296.1.0", std::nullopt},
        {"6.1.99999999999", std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ParseKernelRelease(c.release), c.expected) << c.release;
    }
}

TEST(OsVersionTest, ReadsTheRunningSystemsVersion) {
    std::optional<OsVersion> version = GetOsVersion();
    ASSERT_TRUE(version.has_value());
#if defined(NEXILO_OS_WIN)
    // Windows 7 (6.1) is the oldest the product runs on, and Wine's default prefix reports it.
    EXPECT_GE(version->major, 6u);
    EXPECT_GT(version->build, 0u);
#else
    EXPECT_GE(version->major, 2u);
#endif
}

} // namespace
} // namespace platform
