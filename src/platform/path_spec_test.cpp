#include "platform/path_spec.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace platform {
namespace {

// `path` with the system's separator, and a drive in front of a root on Windows.
std::wstring Native(std::wstring path) {
    for (wchar_t& ch : path) {
        ch = ch == L'/' ? kPathSeparator : ch;
    }
#if defined(_WIN32)
    path.insert(0, !path.empty() && path[0] == L'\\' ? L"C:" : L"");
#endif
    return path;
}

TEST(PathSpecTest, RemoveFileSpecKeepsTheRoot) {
    const std::tuple<const wchar_t*, bool, const wchar_t*> cases[] = {
        {L"/a/b/c", true, L"/a/b"}, {L"/a/b/", true, L"/a/b"}, {L"/a", true, L"/"},
        {L"/", false, L"/"},        {L"name", true, L""},      {L"", false, L""},
    };
    for (const auto& [before, removed, after] : cases) {
        std::wstring path = Native(before) + L'\0';
        EXPECT_EQ(RemoveFileSpec(path.data()), removed) << before;
        EXPECT_EQ(std::wstring(path.c_str()), Native(after));
    }
}

TEST(PathSpecTest, AddBackslashNeedsRoomForOneMore) {
    std::wstring path = Native(L"/dir") + std::wstring(2, L'\0');
    const std::size_t room = path.size();
    wchar_t* end = AddBackslash(path.data(), room);
    EXPECT_EQ(std::wstring(path.c_str()), Native(L"/dir/"));
    EXPECT_EQ(end, path.data() + room - 1);
    EXPECT_EQ(AddBackslash(path.data(), room), end) << "already ends in a separator";
    std::wstring full = Native(L"/dir");
    EXPECT_EQ(AddBackslash(full.data(), full.size() + 1), nullptr);
    EXPECT_EQ(full, Native(L"/dir"));
}

} // namespace
} // namespace platform
