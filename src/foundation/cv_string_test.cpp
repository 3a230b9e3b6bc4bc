#include "nexilo/cv_string.h"

#include "platform/build_config.h"
#include "platform/module_path.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
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
    void* Allocate(std::size_t size) override {
        ++allocations;
        lastSize = size;
        return refuse ? nullptr : std::malloc(size);
    }
    void* Reallocate(void* block, std::size_t size) override {
        ++reallocations;
        lastSize = size;
        return refuse ? nullptr : std::realloc(block, size);
    }
    void Free(void* block) override {
        ++frees;
        std::free(block);
    }
    void Release() override { ++releases; }

    int allocations = 0;
    int reallocations = 0;
    int frees = 0;
    int releases = 0;
    std::size_t lastSize = 0;
    bool refuse = false;
};

u32 ReadWordAt(const void* at) {
    u32 value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

const unsigned char* Bytes(const void* p) {
    return static_cast<const unsigned char*>(p);
}

TEST(StringTest, DefaultIsNullWhileAssignedEmptyOwnsAGuardedBlock) {
    StringW null;
    EXPECT_EQ(null.GetRecord(), nullptr);
    EXPECT_STREQ(null.GetString(), L"");
    EXPECT_EQ(null.GetCapacity(), 0u);
    EXPECT_TRUE(null.IsEmpty());

    StringW empty;
    empty = L"";
    ASSERT_NE(empty.GetRecord(), nullptr);
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(empty.GetCapacity(), 64u);
    EXPECT_EQ(empty.GetRecord()->mem_mgr, StringMemMgr::Global());
    EXPECT_EQ(empty.GetRecord()->growth, 64u);
    EXPECT_EQ(empty.GetRecord()->buffer_owned, 1);
    EXPECT_EQ(empty.GetRecord()->record_owned, 1);
    EXPECT_TRUE(empty.CheckGuards());
    EXPECT_EQ(null, empty);

    StringA fromNull(nullptr);
    EXPECT_NE(fromNull.GetRecord(), nullptr);
    EXPECT_TRUE(fromNull.IsEmpty());
}

TEST(StringTest, BlockHasGuardsAroundTextAndRecordPointerInFront) {
    CountingMemMgr memMgr;
    {
        StringW s(memMgr);
        s = L"abc";
        const u32 capacity = s.GetCapacity();
        const std::size_t expected =
            2 * sizeof(void*) + sizeof(u32) + (capacity + 1) * sizeof(wchar_t) + sizeof(u32);
        EXPECT_EQ(memMgr.lastSize, expected);
        EXPECT_EQ(StringW::BlockSize(capacity), expected);
        EXPECT_EQ(StringA::BlockSize(capacity), expected - (capacity + 1) * (sizeof(wchar_t) - 1));
        if (sizeof(void*) == 4 && sizeof(wchar_t) == 2) {
            EXPECT_EQ(StringW::BlockSize(100), 2 * 100 + 18u);
            EXPECT_EQ(StringA::BlockSize(100), 100 + 17u);
        }

        const unsigned char* text = Bytes(s.GetString());
        EXPECT_EQ(ReadWordAt(text - sizeof(u32)), 0xABCDu) << "inner guard right before text";
        const StringRecord* record;
        std::memcpy(&record, text - sizeof(u32) - sizeof(void*), sizeof record);
        EXPECT_EQ(record, s.GetRecord());
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(text - sizeof(u32) - sizeof(void*)) %
                      alignof(void*),
                  0u)
            << "record pointer aligned";
        EXPECT_EQ(ReadWordAt(text - sizeof(u32) - sizeof(void*) - sizeof(u32)), 0xABCDu);
        EXPECT_EQ(ReadWordAt(text + (capacity + 1) * sizeof(wchar_t)), 0xABCDu);
    }
    EXPECT_EQ(memMgr.frees, 1);
    EXPECT_EQ(memMgr.releases, 1);
}

TEST(StringTest, GrowsByDoublingThenBySteps) {
    StringW s;
    std::vector<u32> seen;
    for (int i = 0; i < 3100; ++i) {
        ASSERT_TRUE(s.Append(L"x", 1));
        if (seen.empty() || seen.back() != s.GetCapacity()) {
            seen.push_back(s.GetCapacity());
        }
    }
    EXPECT_EQ(seen, (std::vector<u32>{64, 128, 256, 512, 1024, 2048, 3072, 4096}));
    EXPECT_EQ(s.GetLength(), 3100u);
    EXPECT_EQ(std::wstring(s.GetString()), std::wstring(3100, L'x'));

    StringW large;
    ASSERT_TRUE(large.Reserve(5000));
    EXPECT_EQ(large.GetCapacity(), 5000u);
    StringA small("ab");
    ASSERT_TRUE(small.Reserve(100)); // a step of 36 is below the growth of 64
    EXPECT_EQ(small.GetCapacity(), 128u);
    EXPECT_STREQ(small.GetString(), "ab");
}

TEST(StringTest, ReserveZeroAllocatesOnceOnly) {
    StringW s;
    ASSERT_TRUE(s.Reserve(0));
    EXPECT_EQ(s.GetCapacity(), 64u);
    const wchar_t* first = s.GetString();
    ASSERT_TRUE(s.Reserve(0));
    EXPECT_EQ(s.GetString(), first);

    CountingMemMgr memMgr;
    StringW counted(memMgr);
    const int before = memMgr.allocations + memMgr.reallocations;
    ASSERT_TRUE(counted.Reserve(0));
    ASSERT_TRUE(counted.Reserve(64));
    EXPECT_EQ(memMgr.allocations + memMgr.reallocations, before);
}

TEST(StringTest, ExhaustedMemoryLeavesTheStringWhole) {
    CountingMemMgr memMgr;
    StringW s(memMgr);
    ASSERT_TRUE(s.Assign(L"keep", -1));
    memMgr.refuse = true;
    EXPECT_FALSE(s.Reserve(1000));
    EXPECT_FALSE(s.Assign(std::wstring(500, L'y').c_str(), -1));
    EXPECT_STREQ(s.GetString(), L"keep");
    EXPECT_EQ(s.GetCapacity(), 64u);
    EXPECT_TRUE(s.CheckGuards());
    EXPECT_FALSE(s.Assign(L"x", -5)) << "a length below -1 is refused";
}

TEST(StringTest, AssignCopiesAndReadsItsOwnText) {
    StringW s(L"abcdef", 3);
    EXPECT_STREQ(s.GetString(), L"abc");
    s = s.GetString(); // its own buffer: nothing happens
    EXPECT_STREQ(s.GetString(), L"abc");
    s = s.GetString() + 1; // a tail of its own text
    EXPECT_STREQ(s.GetString(), L"bc");
    s = nullptr;
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_NE(s.GetRecord(), nullptr);

    StringW big(std::wstring(100, L'q').c_str());
    big.Append(big.GetString(), 100); // the source moves when the block grows
    EXPECT_EQ(std::wstring(big.GetString()), std::wstring(200, L'q'));

    StringW copy = big;
    EXPECT_EQ(copy, big);
    EXPECT_NE(copy.GetString(), big.GetString());
    copy = copy;
    EXPECT_EQ(copy.GetLength(), 200u);
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
        EXPECT_NE(local.GetString(), foreignBlock);
        EXPECT_EQ(local.GetMemMgr(), StringMemMgr::Global());
        EXPECT_EQ(foreign.GetString(), foreignBlock);
        EXPECT_EQ(foreign, L"foreign");

        StringW sameManager(memMgr);
        const int freesBefore = memMgr.frees;
        sameManager = std::move(foreign);
        EXPECT_EQ(sameManager.GetString(), foreignBlock);
        EXPECT_EQ(foreign.GetRecord(), nullptr);
        EXPECT_EQ(memMgr.frees, freesBefore + 1) << "the target's own block is released";
        EXPECT_EQ(memMgr.releases, 1);

        StringW constructed(std::move(sameManager)); // a new string has the global manager
        EXPECT_EQ(constructed, L"foreign");
        EXPECT_EQ(sameManager, L"foreign");
    }
    EXPECT_EQ(memMgr.allocations + memMgr.reallocations, memMgr.frees);
    EXPECT_EQ(memMgr.releases, 2);
}

TEST(InlineStringTest, StartsInsideTheObjectAndSpillsAt261) {
    const std::wstring text260(260, L'p');
    InlineStringW s;
    EXPECT_TRUE(s.IsEmpty());
    const StringRecord* inlineRecord = s.GetRecord();
    ASSERT_NE(inlineRecord, nullptr);
    EXPECT_EQ(inlineRecord->capacity, 260u);
    EXPECT_EQ(inlineRecord->growth, 260u);
    EXPECT_EQ(inlineRecord->buffer_owned, 0);
    EXPECT_EQ(inlineRecord->record_owned, 0);
    const auto* object = Bytes(&s);
    const auto* text = Bytes(s.GetString());
    EXPECT_TRUE(text > object && text < object + sizeof s);

    s = text260.c_str();
    EXPECT_EQ(s.GetCapacity(), 260u);
    EXPECT_EQ(Bytes(s.GetString()), text);

    ASSERT_TRUE(s.Append(L"q", 1));
    EXPECT_EQ(s.GetCapacity(), 520u);
    EXPECT_EQ(s.GetRecord(), inlineRecord);
    EXPECT_EQ(s.GetRecord()->buffer_owned, 1);
    EXPECT_EQ(s.GetRecord()->record_owned, 0);
    EXPECT_EQ(std::wstring(s.GetString()), text260 + L"q");
    EXPECT_TRUE(s.CheckGuards());
    // Leaving the scope frees the heap block and must not delete the inline record (ASan and
    // the leak checker watch both).
}

TEST(InlineStringTest, IsCopiedNotAdopted) {
    InlineStringW path(L"C:\\dir");
    StringW moved(std::move(path));
    EXPECT_EQ(moved, L"C:\\dir");
    EXPECT_EQ(path, L"C:\\dir");

    InlineStringW target(L"x");
    const wchar_t* own = target.GetString();
    StringW heap(L"from heap");
    target = std::move(heap);
    EXPECT_EQ(target, L"from heap");
    EXPECT_EQ(target.GetString(), own) << "an inline target keeps its room";
}

class StringDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// libstdc++ reports a bare rethrow outside a catch block this way before aborting.
const char kTerminated[] = "terminate called without an active exception";

TEST_F(StringDeathTest, TailOverrunIsCaughtAtTheNextCheckAndAtRelease) {
    EXPECT_DEATH(
        {
            StringW s(L"abc");
            wchar_t* buffer = s.GetBuffer();
            buffer[s.GetCapacity() + 1] = L'!'; // one past the terminator's place
            s.CheckGuards();
        },
        kTerminated);
    EXPECT_DEATH(
        {
            StringA s("abc");
            s.GetBuffer()[s.GetCapacity() + 1] = '!';
        },
        kTerminated);
    EXPECT_DEATH(
        {
            StringW s(L"abc");
            s.GetBuffer()[-1] = L'!'; // the inner guard
            s.Append(L"d");
            StringW copy;
            copy = s;
        },
        kTerminated);
}

TEST_F(StringDeathTest, LengthBeyondCapacityEndsTheProcess) {
    EXPECT_DEATH(
        {
            StringW s(L"abc");
            s.SetLength(s.GetCapacity() + 1);
        },
        kTerminated);
    EXPECT_DEATH(
        {
            StringW s(L"abc");
            s.ReleaseBuffer(s.GetCapacity() + 1);
        },
        kTerminated);
}

TEST(StringFailureTest, BrokenInvariantInsideACatchRethrowsTheHandledException) {
    StringW s(L"abc");
    try {
        throw std::runtime_error("handled");
    } catch (const std::runtime_error&) {
        EXPECT_THROW(s.SetLength(s.GetCapacity() + 1), std::runtime_error);
    }
    EXPECT_TRUE(s.SetLength(2));
    EXPECT_EQ(s.GetLength(), 2u);
    EXPECT_EQ(s.GetString()[2], L'c') << "SetLength leaves the characters alone";
    EXPECT_TRUE(s.ReleaseBuffer(2));
    EXPECT_STREQ(s.GetString(), L"ab");
}

TEST(StringTest, ReleaseBufferScansForTheZero) {
    StringW s;
    ASSERT_TRUE(s.Reserve(10));
    std::wcscpy(s.GetBuffer(), L"written");
    EXPECT_TRUE(s.ReleaseBuffer());
    EXPECT_EQ(s.GetLength(), 7u);
    EXPECT_TRUE(s.ReleaseBuffer(3));
    EXPECT_STREQ(s.GetString(), L"wri");
}

TEST(StringTest, ComparesByCodeUnitWithNullAsEmpty) {
    struct Case {
        const wchar_t* a;
        const wchar_t* b;
        int sign;
    };
    const Case cases[] = {
        {L"", L"", 0},    {L"abc", L"abc", 0},  {L"ab", L"abc", -1},  {L"abd", L"abc", 1},
        {L"B", L"a", -1}, {L"\u00E9", L"z", 1}, {L"\uFFFD", L"a", 1},
    };
    for (const Case& c : cases) {
        StringW a(c.a);
        StringW b(c.b);
        EXPECT_EQ((a <=> b) < 0 ? -1 : ((a <=> b) > 0 ? 1 : 0), c.sign) << '"' << c.a << '"';
        EXPECT_EQ(a == b, c.sign == 0);
        EXPECT_EQ(a.Compare(c.b) == 0, c.sign == 0);
    }
    EXPECT_EQ(StringW(), StringW(L""));
    EXPECT_TRUE(StringW() == L"");
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
    struct Case {
        StringW actual;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {Formatted(L"%s|%S|%hs|%ls|%ws", L"w1", "n1", "n2", L"w2", L"w3"), L"w1|n1|n2|w2|w3"},
        {Formatted(L"[%5s][%-5S][%.2s][%*.*S]", L"ab", "cd", L"efgh", 5, 2, "ijkl"),
         L"[   ab][cd   ][ef][   ij]"},
        {Formatted(L"100%% %s %%s", L"sure"), L"100% sure %s"},
        {Formatted(L"%c%C%lc", L'w', 'n', L'l'), L"wnl"},
        {Formatted(L"%lld %I64d %llu", static_cast<long long>(1) << 40, static_cast<long long>(-5),
                   static_cast<unsigned long long>(7)),
         L"1099511627776 -5 7"},
        {Formatted(L"%d.%d.%d %08.3f %x", 10, 0, 19045, 3.14159, 255u), L"10.0.19045 0003.142 ff"},
        {Formatted(L"no conversions"), L"no conversions"},
    };
    for (const Case& c : cases) {
        EXPECT_STREQ(c.actual.GetString(), c.expected);
        EXPECT_TRUE(c.actual.CheckGuards());
    }
}

TEST(StringFormatTest, NarrowFormatsTakeNarrowTexts) {
    StringA out;
    ASSERT_TRUE(StringA::Format(out, 0, "%s=%d %ls", "key", 42, L"w"));
    EXPECT_STREQ(out.GetString(), "key=42 w");
    ASSERT_TRUE(out.AppendFormat(" %S|%hs", L"wide", "narrow"));
    EXPECT_STREQ(out.GetString(), "key=42 w wide|narrow");
}

// Windows' C runtime reads texts of the other width in its own code page, as the product always
// did there; POSIX reads them as UTF-8 whatever the process locale.
#if !defined(NEXILO_OS_WIN)
TEST(StringFormatTest, TextsOfTheOtherWidthAreUtf8) {
    StringW wide;
    ASSERT_TRUE(StringW::Format(wide, 0, L"exception: %S", "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80"));
    EXPECT_STREQ(wide.GetString(), L"exception: \u00E9t\u00E9 \U0001F600");
    StringA narrow;
    ASSERT_TRUE(StringA::Format(narrow, 0, "%ls", L"\u00E9"));
    EXPECT_STREQ(narrow.GetString(), "\xC3\xA9");

    // A narrow argument that is not UTF-8 cannot be formed: nothing is appended.
    ASSERT_TRUE(wide.AppendFormat(L"%S", "bad \xFF"));
    EXPECT_STREQ(wide.GetString(), L"exception: \u00E9t\u00E9 \U0001F600");
}
#endif

TEST(StringFormatTest, NullFormatGivesTheEmptyStringAndAppendsNothing) {
    StringW out(L"old");
    ASSERT_TRUE(StringW::Format(out, 0, nullptr));
    EXPECT_TRUE(out.IsEmpty());
    EXPECT_NE(out.GetRecord(), nullptr);
    out = L"kept";
    ASSERT_TRUE(out.AppendFormat(nullptr));
    EXPECT_EQ(out, L"kept");
}

TEST(StringFormatTest, LongTextsAreMeasuredWhateverTheirLength) {
    const std::wstring wide(5000, L'w');
    const std::string narrow(4500, 'n');
    StringW out;
    ASSERT_TRUE(StringW::Format(out, 0, L"<%s|%S>", wide.c_str(), narrow.c_str()));
    EXPECT_EQ(std::wstring(out.GetString()),
              L"<" + wide + L"|" + std::wstring(narrow.begin(), narrow.end()) + L">");
    EXPECT_EQ(out.GetLength(), 9503u);
    EXPECT_GE(out.GetCapacity(), out.GetLength());

    ASSERT_TRUE(StringW::Format(out, 0, L"%6000d", 1));
    EXPECT_EQ(out.GetLength(), 6000u);
    EXPECT_EQ(out.GetString()[5999], L'1');

    StringA narrowOut;
    ASSERT_TRUE(StringA::Format(narrowOut, 0, "%s%s", narrow.c_str(), narrow.c_str()));
    EXPECT_EQ(narrowOut.GetLength(), 9000u);
}

TEST(StringFormatTest, AppendFormatAddsAtTheEnd) {
    StringW s(L"n=");
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(s.AppendFormat(L"%d,", i % 10));
    }
    EXPECT_EQ(s.GetLength(), 2u + 1000u);
    EXPECT_EQ(std::wstring(s.GetString()).substr(0, 8), L"n=0,1,2,");
    EXPECT_TRUE(s.CheckGuards());
}

TEST(StringFormatTest, FormatMayReadTheStringItBuilds) {
    StringW s(L"inner");
    ASSERT_TRUE(StringW::Format(s, 0, L"<%s><%s>", s.GetString(), s.GetString()));
    EXPECT_EQ(s, L"<inner><inner>");
}

TEST(StringConversionTest, Utf8RoundTripKeepsEveryPlane) {
    const StringW wide(L"a\u00E9\u20AC\U0001F600z");
    StringA utf8;
    wide.ToUtf8(utf8);
    EXPECT_STREQ(utf8.GetString(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
    StringW back;
    utf8.FromUtf8(back);
    EXPECT_EQ(back, wide);
}

TEST(StringConversionTest, BadSequencesBecomeReplacementCharacters) {
    StringW wide;
    StringA("a\xFF"
            "b\xC3")
        .FromUtf8(wide);
    EXPECT_STREQ(wide.GetString(), L"a\uFFFDb\uFFFD");

    StringW lone;
    lone.Reserve(3);
    lone.GetBuffer()[0] = L'x';
    lone.GetBuffer()[1] = static_cast<wchar_t>(0xD800); // a lone surrogate
    lone.GetBuffer()[2] = L'y';
    lone.ReleaseBuffer(3);
    StringA utf8;
    lone.ToUtf8(utf8);
    EXPECT_STREQ(utf8.GetString(), "x\xEF\xBF\xBDy");
}

TEST(StringConversionTest, NothingToConvertGivesAnEmptyNonNullString) {
    StringA utf8("stale");
    StringW().ToUtf8(utf8);
    EXPECT_TRUE(utf8.IsEmpty());
    EXPECT_NE(utf8.GetRecord(), nullptr);

    StringW wide(L"stale");
    StringA().FromUtf8(wide);
    EXPECT_TRUE(wide.IsEmpty());
    EXPECT_NE(wide.GetRecord(), nullptr);

    CountingMemMgr memMgr;
    StringA foreign(memMgr);
    StringW(L"kept apart").ToUtf8(foreign);
    EXPECT_EQ(foreign, "kept apart");
    EXPECT_EQ(foreign.GetMemMgr(), &memMgr) << "another manager's string receives a copy";
}

#if defined(NEXILO_OS_WIN)
#define SEP L"\\"
#define ROOT L"C:\\"
#else
#define SEP L"/"
#define ROOT L"/"
#endif

TEST(StringPathTest, RemoveFileSpecAndAddBackslash) {
    struct Case {
        const wchar_t* path;
        bool removed;
        const wchar_t* directory;
        const wchar_t* withSeparator;
    };
    const Case cases[] = {
        {ROOT L"dir" SEP L"sub" SEP L"file.bin", true, ROOT L"dir" SEP L"sub",
         ROOT L"dir" SEP L"sub" SEP},
        {ROOT L"file.bin", true, ROOT, ROOT},
        {L"file.bin", true, L"", L""},
        {L"", false, L"", L""},
    };
    for (const Case& c : cases) {
        StringW s(c.path);
        EXPECT_EQ(s.RemoveFileSpec(), c.removed) << c.path;
        EXPECT_STREQ(s.GetString(), c.directory);
        s.AddBackslash();
        EXPECT_STREQ(s.GetString(), c.withSeparator);
        EXPECT_TRUE(s.CheckGuards());
    }
    StringW null;
    EXPECT_FALSE(null.RemoveFileSpec());
    EXPECT_NE(null.GetRecord(), nullptr);
}

std::wstring g_fakeModulePath;

u32 FakeModuleFileName(wchar_t* buffer, u32 size) {
    if (g_fakeModulePath.empty()) {
        return 0;
    }
    const std::size_t length = g_fakeModulePath.size();
    const std::size_t copied = length < size ? length : size - 1;
    std::wmemcpy(buffer, g_fakeModulePath.data(), copied);
    buffer[copied] = L'\0';
    return length < size ? static_cast<u32>(length) : size;
}

std::wstring FakePathOfLength(std::size_t length) {
    std::wstring path = ROOT L"deep" SEP;
    path += std::wstring(length - path.size() - 4, L'd');
    path += SEP L"m.x";
    return path;
}

TEST(StringPathTest, ModuleDirectoryMustFitTheRoomOfAnInlineString) {
    g_fakeModulePath = FakePathOfLength(259);
    InlineStringW fits;
    ASSERT_TRUE(fits.SetToModuleDirectory(&FakeModuleFileName));
    EXPECT_EQ(std::wstring(fits.GetString()), g_fakeModulePath.substr(0, 256));

    g_fakeModulePath = FakePathOfLength(260);
    InlineStringW cut;
    EXPECT_FALSE(cut.SetToModuleDirectory(&FakeModuleFileName));

    // A heap string grows to the path.
    g_fakeModulePath = FakePathOfLength(300);
    StringW heap;
    ASSERT_TRUE(heap.SetToModuleDirectory(&FakeModuleFileName));
    EXPECT_EQ(std::wstring(heap.GetString()), g_fakeModulePath.substr(0, 297));

    g_fakeModulePath.clear();
    EXPECT_FALSE(heap.SetToModuleDirectory(&FakeModuleFileName));
}

TEST(StringPathTest, ModuleDirectoryIsTheFolderOfThisCode) {
    const platform::PathResult exe = platform::GetExecutablePath();
    ASSERT_FALSE(exe.path.empty());
    InlineStringW directory;
    ASSERT_TRUE(directory.SetToModuleDirectory());
    const std::wstring expected = exe.path.substr(0, exe.path.find_last_of(SEP) + 1);
    EXPECT_EQ(std::wstring(directory.GetString()), expected);
}

} // namespace
} // namespace cv
