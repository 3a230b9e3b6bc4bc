// The logging module through its exports, as a loader sees it.
#include "nexilo/log_module.h"
#include "platform/environment.h"
#include "platform/module_loader.h"
#include "platform/testing/temp_dir.h"
#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> ReadLines(const std::wstring& path) {
    std::string utf8 = platform::WideToUtf8(path);
    std::ifstream in(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())),
                     std::ios::binary);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

std::uintmax_t FileSize(const std::wstring& path) {
    std::string utf8 = platform::WideToUtf8(path);
    std::error_code error;
    auto size = std::filesystem::file_size(std::u8string(utf8.begin(), utf8.end()), error);
    return error ? 0 : size;
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

class TracelogModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform::ModuleResult loaded = platform::LoadModule(L"tracelog.dll");
        ASSERT_TRUE(loaded.module) << loaded.error;
        m_module = std::move(loaded.module);
        Resolve("LogInit", m_init);
        Resolve("LogDeinit", m_deinit);
        Resolve("LogWrite", m_write);
        Resolve("LogSetPath", m_setPath);
        Resolve("LogSetLevel", m_setLevel);
        Resolve("LogEnable", m_enable);
        Resolve("LogSetMaxSize", m_setMaxSize);
        Resolve("LogSetSettingsFile", m_setSettingsFile);
        Resolve("LogApplySettings", m_applySettings);
        Resolve("LogGetLevel", m_getLevel);
        Resolve("LogIsEnabled", m_isEnabled);
        m_init();
        m_path = m_dir.File(L"trace.log");
        ASSERT_EQ(m_setPath(m_path.c_str()), 0u);
    }

    void TearDown() override {
        if (m_deinit != nullptr) {
            m_deinit();
        }
    }

    template <class Fn>
    void Resolve(const char* name, Fn& slot) {
        platform::ExportResult found = platform::FindExport(m_module.get(), name);
        ASSERT_NE(found.address, nullptr) << name;
        slot = reinterpret_cast<Fn>(found.address);
    }

    std::uint32_t Write(std::int32_t depth, std::uint32_t level, const wchar_t* text) {
        return m_write(depth, &level, nullptr, L"Test::Fn", L"%s", text);
    }

    platform::testing::TempDir m_dir;
    std::wstring m_path;
    platform::UniqueHModule m_module;
    LogInitFn m_init = nullptr;
    LogDeinitFn m_deinit = nullptr;
    LogWriteFn m_write = nullptr;
    LogSetPathFn m_setPath = nullptr;
    LogSetLevelFn m_setLevel = nullptr;
    LogEnableFn m_enable = nullptr;
    LogSetMaxSizeFn m_setMaxSize = nullptr;
    LogSetSettingsFileFn m_setSettingsFile = nullptr;
    LogApplySettingsFn m_applySettings = nullptr;
    LogGetLevelFn m_getLevel = nullptr;
    LogIsEnabledFn m_isEnabled = nullptr;
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

    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 8u);
    const char* expected[] = {" TRACE Test::Fn: -> outer",   " TRACE ..Test::Fn: -> inner",
                              " INFO  ....Test::Fn: inside", " INFO  Test::Fn: other thread",
                              " TRACE ..Test::Fn: <- inner", " TRACE Test::Fn: <- outer",
                              " TRACE Test::Fn: unbalanced", " INFO  Test::Fn: after"};
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(EndsWith(lines[i], expected[i])) << lines[i];
    }
}

TEST_F(TracelogModuleTest, FormatsInTheWindowsConvention) {
    std::uint32_t level = 16;
    EXPECT_EQ(m_write(0, &level, nullptr, L"F", L"%s|%S|%hs|%ls|%d|%5.1f", L"wide", "narrow",
                      "short", L"long", -7, 2.5),
              0u);
    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(EndsWith(lines[0], "F: wide|narrow|short|long|-7|  2.5")) << lines[0];
    EXPECT_EQ(m_write(0, nullptr, nullptr, L"F", L"x"), 87u);
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

    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(EndsWith(lines[0], "warning passes"));
    EXPECT_TRUE(EndsWith(lines[1], "error passes"));
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
    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    std::vector<int> next(kThreads, 0);
    for (const std::string& line : lines) {
        int t = -1;
        int i = -1;
        std::size_t at = line.find("W: thread ");
        ASSERT_NE(at, std::string::npos) << line;
        ASSERT_EQ(std::sscanf(line.c_str() + at, "W: thread %d line %d end", &t, &i), 2) << line;
        ASSERT_TRUE(t >= 0 && t < kThreads);
        EXPECT_EQ(i, next[t]++) << "each thread's lines stay in order";
        EXPECT_TRUE(EndsWith(line, " end"));
    }
}

TEST_F(TracelogModuleTest, RotatesAtTheSizeLimitAndKeepsOneOldFile) {
    constexpr std::uint32_t kLimit = 1000;
    m_setMaxSize(kLimit);
    std::wstring filler(40, L'x');
    for (int i = 0; i < 60; ++i) {
        Write(0, 16, filler.c_str());
    }
    Write(0, 16, L"last line");
    std::wstring old = m_path + L".1";
    EXPECT_LE(FileSize(m_path), kLimit);
    EXPECT_GT(FileSize(old), kLimit / 2);
    EXPECT_LE(FileSize(old), kLimit);
    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(EndsWith(lines.back(), "last line"));
}

TEST_F(TracelogModuleTest, ReloadingAppendsAndReadsTheEnvironment) {
    Write(0, 16, L"before reload");
    m_deinit();

    std::wstring other = m_dir.File(L"from-env.log");
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", other.c_str()));
    ASSERT_TRUE(platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_LEVEL", L"warning"));
    m_init();
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_FILE", nullptr);
    platform::WriteEnvironmentVariable(L"NEXILO_TRACELOG_LEVEL", nullptr);
    Write(0, 16, L"info filtered");
    Write(0, 8, L"warning to the env file");

    std::vector<std::string> envLines = ReadLines(other);
    ASSERT_EQ(envLines.size(), 1u);
    EXPECT_TRUE(EndsWith(envLines[0], "warning to the env file"));

    // Back to the first file: what it held survives the reload.
    m_setPath(m_path.c_str());
    Write(0, 8, L"after reload");
    std::vector<std::string> lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(EndsWith(lines[0], "before reload"));
    EXPECT_TRUE(EndsWith(lines[1], "after reload"));
}

TEST_F(TracelogModuleTest, AppliesASettingsFile) {
    std::wstring settings = m_dir.File(L"tracelog.ini");
    std::wstring target = m_dir.File(L"from-settings.log");
    {
        std::string utf8 = platform::WideToUtf8(settings);
        std::ofstream out(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())));
        out << "# dev kit settings\nfile = " << platform::WideToUtf8(target)
            << "\nlevel = error\nmax_size = 4096\nnonsense line\n";
    }
    ASSERT_EQ(m_setSettingsFile(settings.c_str()), 0u);
    ASSERT_EQ(m_applySettings(), 0u);
    EXPECT_EQ(m_getLevel(), 4u);
    Write(0, 8, L"warning filtered");
    Write(0, 4, L"error kept");
    std::vector<std::string> lines = ReadLines(target);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(EndsWith(lines[0], "error kept"));
    EXPECT_TRUE(ReadLines(m_path).empty());
}

} // namespace
