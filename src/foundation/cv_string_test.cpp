#include "nexilo/cv_string.h"

#include "platform/build_config.h"
#include "platform/module_path.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cv {
namespace {

// Counts what strings ask of it and can be told to refuse memory.
class CountingMemMgr final : public IMemMgr {
public:
    void* Allocate(std::size_t size) override { return Reallocate(nullptr, size); }
    void* Reallocate(void* block, std::size_t size) override {
        lastSize = size;
        live += block == nullptr && !refuse ? 1 : 0;
        return refuse ? nullptr : std::realloc(block, size);
    }
    void Free(void* block) override {
        --live;
        std::free(block);
    }
    void Release() override { ++releases; }

    int live = 0;
    int releases = 0;
    std::size_t lastSize = 0;
    bool refuse = false;
};

u32 ReadWordAt(const unsigned char* at) {
    u32 value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

const unsigned char* Bytes(const void* p) {
    return static_cast<const unsigned char*>(p);
}

// Other modules read the block: its size follows the pointer and character widths, the record
// pointer sits between the head and inner guards, and a guard follows the terminator's place.
TEST(StringTest, BlockHasGuardsAroundTextAndRecordPointerInFront) {
    CountingMemMgr memMgr;
    {
        StringW s(memMgr);
        s = L"abc";
        const u32 capacity = s.GetCapacity();
        const std::size_t head = 2 * sizeof(void*) + sizeof(u32);
        EXPECT_EQ(memMgr.lastSize, head + (capacity + 1) * sizeof(wchar_t) + sizeof(u32));
        EXPECT_EQ(StringA::BlockSize(capacity), head + capacity + 1 + sizeof(u32));

        const unsigned char* text = Bytes(s.GetString());
        EXPECT_EQ(ReadWordAt(text - 4), 0xABCDu) << "inner guard";
        EXPECT_EQ(ReadWordAt(text - 8 - sizeof(void*)), 0xABCDu) << "head guard";
        EXPECT_EQ(ReadWordAt(text + (capacity + 1) * sizeof(wchar_t)), 0xABCDu) << "tail guard";
        const StringRecord* record;
        std::memcpy(&record, text - 4 - sizeof(void*), sizeof record);
        EXPECT_EQ(record, s.GetRecord());
    }
    EXPECT_EQ(memMgr.live, 0);
    EXPECT_EQ(memMgr.releases, 1);
}

TEST(StringTest, GrowsByDoublingUpTo1024ThenBySteps) {
    // The length whose character made the string grow, and the capacity it grew to.
    StringW s;
    std::vector<std::pair<u32, u32>> growths;
    for (u32 length = 1; length <= 3100; ++length) {
        s.Append(L"x", 1);
        if (growths.empty() || growths.back().second != s.GetCapacity()) {
            growths.emplace_back(length, s.GetCapacity());
        }
    }
    EXPECT_EQ(growths, (std::vector<std::pair<u32, u32>>{{1, 64},
                                                         {65, 128},
                                                         {129, 256},
                                                         {257, 512},
                                                         {513, 1024},
                                                         {1025, 2048},
                                                         {2049, 3072},
                                                         {3073, 4096}}));
    EXPECT_EQ(std::wstring(s.GetString()), std::wstring(3100, L'x'));
}

TEST(StringTest, EachReserveGrowsByItsRule) {
    const struct {
        u32 capacity; // of the string before the request; 0: a fresh string
        u32 request;
        u32 expected;
    } cases[] = {
        {0, 0, 64},         // even Reserve(0) allocates a fresh string
        {0, 5000, 5000},    // a large request is met exactly
        {64, 64, 64},       // it fits
        {64, 65, 128},      // one more than fits: the step of growth
        {100, 150, 200},    // a step below the capacity doubles it
        {100, 300, 300},    // a larger step is met exactly
        {1023, 1024, 2046}, // below 1024 still doubling
        {1024, 1025, 2048}, // from 1024 on, steps of at least 1024
        {1500, 1501, 2524}, // not doubling any more
        {1024, 3000, 3000}, // a step above 1024 is met exactly
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.capacity << " + " << c.request);
        StringA s;
        if (c.capacity != 0) {
            ASSERT_TRUE(s.Reserve(c.capacity));
            ASSERT_EQ(s.GetCapacity(), c.capacity);
        }
        ASSERT_TRUE(s.Reserve(c.request));
        EXPECT_EQ(s.GetCapacity(), c.expected);
    }
}

TEST(StringTest, ExhaustedMemoryLeavesTheStringWhole) {
    CountingMemMgr memMgr;
    StringW s(memMgr);
    ASSERT_TRUE(s.Assign(L"keep", -1));
    memMgr.refuse = true;
    EXPECT_FALSE(s.Reserve(1000));
    EXPECT_FALSE(s.Assign(std::wstring(500, L'y').c_str(), -1));
    EXPECT_STREQ(s.GetString(), L"keep");
    EXPECT_TRUE(s.CheckGuards());
    EXPECT_FALSE(s.Assign(L"x", -5)) << "a length below -1 is refused";
}

TEST(StringTest, AssignAndAppendMayReadTheirOwnText) {
    StringW s(L"abcdef", 3);
    s = s.GetString();
    s = s.GetString() + 1;
    EXPECT_STREQ(s.GetString(), L"bc");

    StringW big(std::wstring(100, L'q').c_str());
    big.Append(big.GetString(), 100); // the source moves when the block grows
    EXPECT_EQ(std::wstring(big.GetString()), std::wstring(200, L'q'));
    StringW copy = big;
    copy = copy;
    EXPECT_EQ(copy, big);
}

TEST(StringTest, MoveTakesTheBlockOnlyFromTheSameManager) {
    StringW source(L"text");
    const wchar_t* block = source.GetString();
    StringW target(L"old");
    target = std::move(source);
    EXPECT_EQ(target.GetString(), block);
    EXPECT_EQ(source.GetRecord(), nullptr);

    CountingMemMgr memMgr;
    {
        StringW foreign(memMgr);
        foreign = L"foreign";
        const wchar_t* foreignBlock = foreign.GetString();
        StringW local;
        local = std::move(foreign); // managers differ: a copy
        EXPECT_EQ(local, L"foreign");
        EXPECT_EQ(foreign.GetString(), foreignBlock);

        StringW sameManager(memMgr);
        sameManager = std::move(foreign);
        EXPECT_EQ(sameManager.GetString(), foreignBlock);
        EXPECT_EQ(foreign.GetRecord(), nullptr);
        StringW constructed(std::move(sameManager)); // a new string has the global manager
        EXPECT_EQ(constructed, L"foreign");
        EXPECT_EQ(sameManager, L"foreign");

        InlineStringW path(L"C:\\dir"); // an inline block is never adopted
        EXPECT_EQ(StringW(std::move(path)), L"C:\\dir");
        EXPECT_EQ(path, L"C:\\dir");
    }
    EXPECT_EQ(memMgr.live, 0);
    EXPECT_EQ(memMgr.releases, 2);
}

TEST(InlineStringTest, StartsInsideTheObjectAndSpillsAt261) {
    const std::wstring text260(260, L'p');
    InlineStringW s(text260.c_str());
    const StringRecord* inlineRecord = s.GetRecord();
    const unsigned char* text = Bytes(s.GetString());
    EXPECT_TRUE(text > Bytes(&s) && text < Bytes(&s) + sizeof s);
    EXPECT_EQ(s.GetCapacity(), 260u);

    ASSERT_TRUE(s.Append(L"q", 1));
    EXPECT_EQ(s.GetCapacity(), 520u);
    EXPECT_EQ(s.GetRecord(), inlineRecord);
    EXPECT_EQ(s.GetRecord()->record_owned, 0);
    EXPECT_EQ(std::wstring(s.GetString()), text260 + L"q");
    // Leaving the scope frees the heap block and must not delete the inline record (ASan and
    // the leak checker watch both).
}

// libstdc++ reports a bare rethrow outside a catch block this way before aborting.
const char kTerminated[] = "terminate called without an active exception";

// Each fault is done to a string that is released right after, which finds a damaged guard.
TEST(StringDeathTest, BrokenInvariantsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const struct {
        const char* name;
        void (*fault)(StringW&& s);
    } cases[] = {
        {"tail guard", [](StringW&& s) { s.GetBuffer()[s.GetCapacity() + 1] = L'!'; }},
        {"inner guard", [](StringW&& s) { s.GetBuffer()[-1] = L'!'; }},
        {"narrow tail guard", [](StringW&&) { StringA("abc").GetBuffer()[64 + 1] = '!'; }},
        {"SetLength", [](StringW&& s) { s.SetLength(s.GetCapacity() + 1); }},
        {"ReleaseBuffer", [](StringW&& s) { s.ReleaseBuffer(s.GetCapacity() + 1); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_DEATH(c.fault(StringW(L"abc")), kTerminated);
    }
}

TEST(StringTest, LengthSettersAndABrokenInvariantInsideACatch) {
    StringW s(L"abc");
    try {
        throw std::runtime_error("handled");
    } catch (const std::runtime_error&) {
        EXPECT_THROW(s.SetLength(s.GetCapacity() + 1), std::runtime_error);
    }
    EXPECT_TRUE(s.SetLength(2));
    EXPECT_EQ(s.GetString()[2], L'c') << "SetLength leaves the characters alone";
    std::wcscpy(s.GetBuffer(), L"written");
    EXPECT_TRUE(s.ReleaseBuffer());
    EXPECT_EQ(s.GetLength(), 7u);
}

TEST(StringTest, ComparesByCodeUnitWithNullAsEmpty) {
    EXPECT_EQ(StringW(), StringW(L""));
    EXPECT_LT(StringW(L"ab"), StringW(L"abc"));
    EXPECT_LT(StringW(L"B"), StringW(L"a"));
    EXPECT_GT(StringW(L"\uFFFD"), L"z");
    EXPECT_LT(StringA("z"), StringA("\xC3\xA9")) << "narrow units compare unsigned";
}

StringW Formatted(const wchar_t* format, ...) {
    StringW out;
    va_list args;
    va_start(args, format);
    StringW::FormatV(out, format, args);
    va_end(args);
    return out;
}

TEST(StringFormatTest, WideFormatsFollowTheWindowsConvention) {
    const std::wstring wide(5000, L'w');
    const std::string narrow(4500, 'n');
    const struct {
        StringW actual;
        std::wstring expected;
    } cases[] = {
        {Formatted(L"%s|%S|%hs|%ls|%ws", L"w1", "n1", "n2", L"w2", L"w3"), L"w1|n1|n2|w2|w3"},
        {Formatted(L"[%5s][%-5S][%.2s][%*.*S]", L"ab", "cd", L"efgh", 5, 2, "ijkl"),
         L"[   ab][cd   ][ef][   ij]"},
        {Formatted(L"100%% %s %%s", L"sure"), L"100% sure %s"},
        {Formatted(L"%c%C %I64d %08.3f", L'w', 'n', -5LL, 3.14159), L"wn -5 0003.142"},
        // Longer than any first guess of the room.
        {Formatted(L"<%s|%S>", wide.c_str(), narrow.c_str()),
         L"<" + wide + L"|" + std::wstring(narrow.begin(), narrow.end()) + L">"},
        {Formatted(L"%6000d", 1), std::wstring(5999, L' ') + L"1"},
        {Formatted(nullptr), L""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(std::wstring(c.actual.GetString()), c.expected);
        EXPECT_NE(c.actual.GetRecord(), nullptr);
    }
}

TEST(StringFormatTest, AppendFormatAndNarrowFormats) {
    StringA narrow;
    ASSERT_TRUE(StringA::Format(narrow, 0, "%s=%d %ls", "key", 42, L"w"));
    ASSERT_TRUE(narrow.AppendFormat(" %S|%hs", L"wide", "narrow"));
    EXPECT_STREQ(narrow.GetString(), "key=42 w wide|narrow");

    StringW s(L"inner");
    ASSERT_TRUE(StringW::Format(s, 0, L"<%s><%s>", s.GetString(), s.GetString()));
    EXPECT_EQ(s, L"<inner><inner>");
    ASSERT_TRUE(s.AppendFormat(nullptr));
    for (int i = 0; i < 300; ++i) { // through several growths
        s.AppendFormat(L"%d,", i % 10);
    }
    EXPECT_EQ(s.GetLength(), 14u + 600u);
    EXPECT_EQ(std::wstring(s.GetString()).substr(0, 20), L"<inner><inner>0,1,2,");
}

// Windows' C runtime reads texts of the other width in its own code page, as the product always
// did there; POSIX reads them as UTF-8 whatever the process locale.
#if !defined(NEXILO_OS_WIN)
TEST(StringFormatTest, TextsOfTheOtherWidthAreUtf8) {
    StringW wide;
    ASSERT_TRUE(StringW::Format(wide, 0, L"exception: %S", "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80"));
    EXPECT_STREQ(wide.GetString(), L"exception: \u00E9t\u00E9 \U0001F600");
    // A narrow argument that is not UTF-8 cannot be formed: nothing is appended.
    ASSERT_TRUE(wide.AppendFormat(L"%S", "bad \xFF"));
    EXPECT_STREQ(wide.GetString(), L"exception: \u00E9t\u00E9 \U0001F600");

    StringA narrow;
    ASSERT_TRUE(StringA::Format(narrow, 0, "%ls", L"\u00E9"));
    EXPECT_STREQ(narrow.GetString(), "\xC3\xA9");
}
#endif

TEST(StringConversionTest, Utf8RoundTripKeepsEveryPlaneAndReplacesBadSequences) {
    const StringW wide(L"a\u00E9\u20AC\U0001F600z");
    CountingMemMgr memMgr;
    StringA utf8(memMgr);
    wide.ToUtf8(utf8);
    EXPECT_STREQ(utf8.GetString(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
    EXPECT_EQ(utf8.GetMemMgr(), &memMgr) << "another manager's string receives a copy";
    StringW back;
    utf8.FromUtf8(back);
    EXPECT_EQ(back, wide);

    StringA("a\xFF"
            "b\xC3")
        .FromUtf8(back);
    EXPECT_STREQ(back.GetString(), L"a\uFFFDb\uFFFD");

    // Nothing to convert gives an empty string, never a null one.
    StringW().ToUtf8(utf8);
    EXPECT_TRUE(utf8.IsEmpty() && utf8.GetRecord() != nullptr);
    StringA().FromUtf8(back);
    EXPECT_TRUE(back.IsEmpty() && back.GetRecord() != nullptr);
}

#if defined(NEXILO_OS_WIN)
#define SEP L"\\"
#define ROOT L"C:\\"
#else
#define SEP L"/"
#define ROOT L"/"
#endif

TEST(StringPathTest, RemoveFileSpecAndAddBackslash) {
    const struct {
        const wchar_t* path;
        bool removed;
        const wchar_t* withSeparator;
    } cases[] = {
        {ROOT L"dir" SEP L"sub" SEP L"file.bin", true, ROOT L"dir" SEP L"sub" SEP},
        {ROOT L"file.bin", true, ROOT},
        {L"file.bin", true, L""},
        {L"", false, L""},
    };
    for (const auto& c : cases) {
        StringW s(c.path);
        EXPECT_EQ(s.RemoveFileSpec(), c.removed) << c.path;
        s.AddBackslash();
        EXPECT_STREQ(s.GetString(), c.withSeparator);
    }
    StringW null;
    EXPECT_FALSE(null.RemoveFileSpec());
    EXPECT_NE(null.GetRecord(), nullptr);
}

std::wstring g_fakeModulePath;

u32 FakeModuleFileName(wchar_t* buffer, u32 size) {
    const std::size_t length = g_fakeModulePath.size();
    const std::size_t copied = length < size ? length : size - 1;
    std::wmemcpy(buffer, g_fakeModulePath.data(), copied);
    buffer[copied] = L'\0';
    return length < size ? static_cast<u32>(length) : size;
}

std::wstring FakePathOfLength(std::size_t length) {
    const std::wstring head = ROOT L"deep" SEP;
    return head + std::wstring(length - head.size() - 4, L'd') + SEP L"m.x";
}

TEST(StringPathTest, ModuleDirectoryMustFitTheRoomOfAnInlineString) {
    g_fakeModulePath = FakePathOfLength(259);
    InlineStringW fits;
    ASSERT_TRUE(fits.SetToModuleDirectory(&FakeModuleFileName));
    EXPECT_EQ(std::wstring(fits.GetString()), g_fakeModulePath.substr(0, 256));

    g_fakeModulePath = FakePathOfLength(260);
    InlineStringW cut;
    EXPECT_FALSE(cut.SetToModuleDirectory(&FakeModuleFileName));

    g_fakeModulePath = FakePathOfLength(300); // a heap string grows to the path
    StringW heap;
    ASSERT_TRUE(heap.SetToModuleDirectory(&FakeModuleFileName));
    EXPECT_EQ(std::wstring(heap.GetString()), g_fakeModulePath.substr(0, 297));

    g_fakeModulePath.clear();
    EXPECT_FALSE(heap.SetToModuleDirectory(&FakeModuleFileName));

    const platform::PathResult exe = platform::GetExecutablePath();
    InlineStringW real;
    ASSERT_TRUE(real.SetToModuleDirectory());
    EXPECT_EQ(std::wstring(real.GetString()), exe.path.substr(0, exe.path.find_last_of(SEP) + 1));
}

} // namespace
} // namespace cv
