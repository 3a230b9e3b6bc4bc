// The logging module through its exports, as a loader sees it.
#include "devkit/common/testing/module_exports.h"
#include "nexilo/log_module.h"
#include "platform/environment.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::EndsWith;

class TracelogModuleTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_module.Missing(), "");
        m_init();
        ASSERT_EQ(m_setPath(m_path.c_str()), 0u);
    }
    void TearDown() override {
        if (m_deinit != nullptr) {
            m_deinit();
        }
    }

    std::uint32_t Write(std::int32_t depth, std::uint32_t level, const wchar_t* text) {
        return m_write(depth, &level, nullptr, L"Test::Fn", L"%s", text);
    }
    // The lines of the file `name` in the test's folder.
    std::vector<std::string> Lines(const char* name = "trace.log") const {
        return platform_testing::ReadLines(m_dir.Path() / name);
    }

    platform_testing::TempDir m_dir;
    std::wstring m_path = m_dir.File(L"trace.log");
    devkit_testing::ModuleExports m_module{L"tracelog.dll"};
    LogInitFn m_init = m_module.Find<LogInitFn>("LogInit");
    LogDeinitFn m_deinit = m_module.Find<LogDeinitFn>("LogDeinit");
    LogWriteFn m_write = m_module.Find<LogWriteFn>("LogWrite");
    LogSetPathFn m_setPath = m_module.Find<LogSetPathFn>("LogSetPath");
    LogSetLevelFn m_setLevel = m_module.Find<LogSetLevelFn>("LogSetLevel");
    LogGetLevelFn m_getLevel = m_module.Find<LogGetLevelFn>("LogGetLevel");
    LogEnableFn m_enable = m_module.Find<LogEnableFn>("LogEnable");
    LogIsEnabledFn m_isEnabled = m_module.Find<LogIsEnabledFn>("LogIsEnabled");
    LogSetMaxSizeFn m_setMaxSize = m_module.Find<LogSetMaxSizeFn>("LogSetMaxSize");
    LogSetSettingsFileFn m_setSettingsFile =
        m_module.Find<LogSetSettingsFileFn>("LogSetSettingsFile");
    LogApplySettingsFn m_applySettings = m_module.Find<LogApplySettingsFn>("LogApplySettings");
};

TEST_F(TracelogModuleTest, IndentsByTheDepthChangesOfEachThread) {
    Write(+1, 32, L"-> outer");
    Write(+1, 32, L"-> inner");
    Write(0, 16, L"inside");
    std::thread([&] { Write(0, 16, L"other thread"); }).join();
    Write(-1, 32, L"<- inner");
    Write(-1, 32, L"<- outer");
    Write(-1, 32, L"unbalanced");
    Write(0, 16, L"after");
    EXPECT_THAT(
        Lines(),
        ElementsAre(EndsWith(" TRACE Test::Fn: -> outer"), EndsWith(" TRACE ..Test::Fn: -> inner"),
                    EndsWith(" INFO  ....Test::Fn: inside"),
                    EndsWith(" INFO  Test::Fn: other thread"),
                    EndsWith(" TRACE ..Test::Fn: <- inner"), EndsWith(" TRACE Test::Fn: <- outer"),
                    EndsWith(" TRACE Test::Fn: unbalanced"), EndsWith(" INFO  Test::Fn: after")));
}

TEST_F(TracelogModuleTest, FormatsInTheWindowsConvention) {
    std::uint32_t level = 16;
    EXPECT_EQ(m_write(0, &level, nullptr, L"F", L"%s|%S|%hs|%ls|%d|%5.1f", L"wide", "narrow",
                      "short", L"long", -7, 2.5),
              0u);
    EXPECT_EQ(m_write(0, nullptr, nullptr, L"F", L"x"), 87u);
    EXPECT_THAT(Lines(), ElementsAre(EndsWith(" INFO  F: wide|narrow|short|long|-7|  2.5")));
}

TEST_F(TracelogModuleTest, FiltersByLevelAndEnableFlag) {
    m_setLevel(8);
    EXPECT_EQ(m_getLevel(), 8u);
    Write(0, 16, L"info is above the threshold");
    Write(0, 8, L"warning passes");
    m_enable(0);
    EXPECT_EQ(m_isEnabled(), 0);
    Write(0, 4, L"disabled");
    m_enable(1);
    Write(0, 4, L"error passes");
    EXPECT_THAT(Lines(), ElementsAre(EndsWith("warning passes"), EndsWith("error passes")));
}

TEST_F(TracelogModuleTest, ConcurrentWritersLoseAndTearNoLine) {
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::uint32_t level = 16;
            for (int i = 0; i < kLines; ++i) {
                m_write(0, &level, nullptr, L"W", L"thread %d line %d end", t, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    std::vector<int> next(kThreads, 0);
    for (const std::string& line : lines) {
        int t = -1;
        int i = -1;
        const std::size_t at = line.find(" W: thread ");
        ASSERT_NE(at, std::string::npos) << line;
        ASSERT_EQ(std::sscanf(line.c_str() + at, " W: thread %d line %d end", &t, &i), 2) << line;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line;
        EXPECT_EQ(i, next[t]++) << "each thread's lines stay in order";
        EXPECT_THAT(line, EndsWith(" end"));
    }
}

TEST_F(TracelogModuleTest, RotatesAtTheSizeLimitAndKeepsOneOldFile) {
    constexpr std::uint32_t kLimit = 1000;
    m_setMaxSize(kLimit);
    const std::wstring filler(40, L'x');
    for (int i = 0; i < 60; ++i) {
        Write(0, 16, filler.c_str());
    }
    Write(0, 16, L"last line");
    EXPECT_LE(std::filesystem::file_size(m_dir.Path() / "trace.log"), kLimit);
    const auto old = std::filesystem::file_size(m_dir.Path() / "trace.log.1");
    EXPECT_GT(old, kLimit / 2);
    EXPECT_LE(old, kLimit);
    EXPECT_THAT(Lines().back(), EndsWith("last line"));
}

TEST_F(TracelogModuleTest, ReloadingAppendsAndReadsTheEnvironment) {
    Write(0, 16, L"before reload");
    m_deinit();
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE",
                                                   m_dir.File(L"from-env.log").c_str()));
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_LEVEL", L"warning"));
    m_init();
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", nullptr);
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_LEVEL", nullptr);
    Write(0, 16, L"info filtered");
    Write(0, 8, L"warning to the env file");
    EXPECT_THAT(Lines("from-env.log"), ElementsAre(EndsWith("warning to the env file")));

    // Back to the first file: what it held survives the reload.
    m_setPath(m_path.c_str());
    Write(0, 8, L"after reload");
    EXPECT_THAT(Lines(), ElementsAre(EndsWith("before reload"), EndsWith("after reload")));
}

TEST_F(TracelogModuleTest, AppliesASettingsFile) {
    std::ofstream(m_dir.Path() / "tracelog.ini")
        << "# dev kit settings\nfile = " << (m_dir.Path() / "from-settings.log").string()
        << "\nlevel = error\nmax_size = 4096\nnonsense line\n";
    ASSERT_EQ(m_setSettingsFile(m_dir.File(L"tracelog.ini").c_str()), 0u);
    ASSERT_EQ(m_applySettings(), 0u);
    EXPECT_EQ(m_getLevel(), 4u);
    Write(0, 8, L"warning filtered");
    Write(0, 4, L"error kept");
    EXPECT_THAT(Lines("from-settings.log"), ElementsAre(EndsWith("error kept")));
    EXPECT_TRUE(Lines().empty());
}

} // namespace
