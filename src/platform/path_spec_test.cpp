#include "platform/path_spec.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

std::wstring Native(std::wstring path) {
    for (wchar_t& ch : path) {
        if (ch == L'/') {
            ch = kPathSeparator;
        }
    }
#if defined(_WIN32)
    if (!path.empty() && path[0] == L'\\') {
        path.insert(0, L"C:");
    }
#endif
    return path;
}

TEST(PathSpecTest, RemoveFileSpecKeepsTheRoot) {
    struct Case {
        const wchar_t* path;
        bool removed;
        const wchar_t* result;
    };
    const Case cases[] = {
        {L"/a/b/c", true, L"/a/b"}, {L"/a/b/", true, L"/a/b"}, {L"/a", true, L"/"},
        {L"/", false, L"/"},        {L"name", true, L""},      {L"", false, L""},
    };
    for (const Case& c : cases) {
        std::wstring path = Native(c.path);
        path.push_back(L'\0');
        EXPECT_EQ(RemoveFileSpec(path.data()), c.removed) << path;
        EXPECT_EQ(std::wstring(path.c_str()), Native(c.result));
    }
}

TEST(PathSpecTest, AddBackslashNeedsRoomForOneMore) {
    std::wstring path = Native(L"/dir");
    const std::size_t length = path.size();
    path.resize(length + 2);
    wchar_t* end = AddBackslash(path.data(), length + 2);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(std::wstring(path.c_str()), Native(L"/dir/"));
    EXPECT_EQ(end, path.data() + length + 1);
    EXPECT_EQ(AddBackslash(path.data(), length + 2), end) << "already ends in a separator";

    std::wstring full = Native(L"/dir");
    EXPECT_EQ(AddBackslash(full.data(), full.size() + 1), nullptr);
    EXPECT_EQ(full, Native(L"/dir"));

    wchar_t empty[2] = {};
    EXPECT_EQ(AddBackslash(empty, 2), empty);
    EXPECT_EQ(empty[0], L'\0');
}

} // namespace
} // namespace platform
