#include "platform/file_util.h"

#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace platform {
namespace {

using platform_testing::ReadTextFile;

void WriteText(const std::wstring& path, const std::string& text) {
    OpenFileResult opened = OpenTextFile(path.c_str(), TextFileMode::kWrite);
    ASSERT_EQ(opened.error, kErrorSuccess);
    ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), opened.file.get()), text.size());
    EXPECT_EQ(FlushToDisk(opened.file.get()), kErrorSuccess);
}

TEST(FileUtilTest, TextWrittenOverAnOldFileReadsBackLineForLine) {
    platform_testing::TempDir dir;
    const std::wstring path = dir.File(L"text \u00e9.txt");
    WriteText(path, "a long first text\n");
    WriteText(path, "one\ntwo\n");
    EXPECT_EQ(ReadTextFile(dir.Path() / u8"text \u00e9.txt"), "one\ntwo\n");

    OpenFileResult opened = OpenTextFile(path.c_str(), TextFileMode::kRead);
    ASSERT_EQ(opened.error, kErrorSuccess);
    char buffer[32] = {};
    std::size_t read = std::fread(buffer, 1, sizeof buffer, opened.file.get());
    EXPECT_EQ(std::string(buffer, read), "one\ntwo\n"); // text mode undoes CR LF where it adds it
}

TEST(FileUtilTest, ReadingOnlyOpensRegularFiles) {
    platform_testing::TempDir dir;
    EXPECT_EQ(OpenTextFile(dir.File(L"absent").c_str(), TextFileMode::kRead).error,
              kErrorFileNotFound);
    std::filesystem::create_directory(dir.Path() / "folder");
    OpenFileResult folder = OpenTextFile(dir.File(L"folder").c_str(), TextFileMode::kRead);
    EXPECT_FALSE(folder.file);
    EXPECT_NE(folder.error, kErrorSuccess);
    EXPECT_NE(OpenTextFile(dir.File(L"missing/f.txt").c_str(), TextFileMode::kWrite).error,
              kErrorSuccess);
}

TEST(FileUtilTest, ReplaceSwapsInTheNewFileOrLeavesBothInPlace) {
    platform_testing::TempDir dir;
    WriteText(dir.File(L"target"), "old\n");
    WriteText(dir.File(L"source"), "new\n");
    ASSERT_EQ(ReplaceFileAtomically(dir.File(L"source").c_str(), dir.File(L"target").c_str()),
              kErrorSuccess);
    EXPECT_EQ(ReadTextFile(dir.Path() / "target"), "new\n");
    EXPECT_FALSE(std::filesystem::exists(dir.Path() / "source"));

    // A non-empty directory cannot be replaced by a file on any system, even by root.
    WriteText(dir.File(L"source"), "newer\n");
    std::filesystem::create_directories(dir.Path() / "folder" / "inner");
    EXPECT_NE(ReplaceFileAtomically(dir.File(L"source").c_str(), dir.File(L"folder").c_str()),
              kErrorSuccess);
    EXPECT_TRUE(std::filesystem::is_directory(dir.Path() / "folder" / "inner"));
    EXPECT_EQ(ReadTextFile(dir.Path() / "source"), "newer\n");
}

} // namespace
} // namespace platform
