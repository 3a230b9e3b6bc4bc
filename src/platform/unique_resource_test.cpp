#include "platform/unique_resource.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace platform {
namespace {

std::vector<int> g_closed;

// Closing clobbers errno on purpose: the wrapper must hide that from its caller.
struct RecordingTraits {
    using Type = int;
    static constexpr int Invalid() noexcept { return 0; }
    static void Close(int value) noexcept {
        g_closed.push_back(value);
        errno = EBADF;
    }
};
using Recorded = UniqueResource<RecordingTraits>;

class UniqueResourceTest : public ::testing::Test {
protected:
    void SetUp() override { g_closed.clear(); }
};

TEST_F(UniqueResourceTest, ClosesOnceOnEveryWayOut) {
    {
        Recorded a(1);
        Recorded b(std::move(a));
        EXPECT_FALSE(a);
        EXPECT_TRUE(b);
        Recorded c(3);
        c = std::move(b); // closes 3, takes 1
        EXPECT_EQ(g_closed, std::vector<int>{3});
        c = std::move(c); // self-move keeps the value
        EXPECT_EQ(c.get(), 1);
    }
    EXPECT_EQ(g_closed, (std::vector<int>{3, 1}));
}

TEST_F(UniqueResourceTest, ReleaseGivesUpWithoutClosing) {
    Recorded a(7);
    EXPECT_EQ(a.release(), 7);
    EXPECT_FALSE(a);
    a.reset();
    EXPECT_TRUE(g_closed.empty());
}

TEST_F(UniqueResourceTest, PutClosesTheOldValueAndExposesTheSlot) {
    Recorded a(4);
    *a.put() = 5;
    EXPECT_EQ(g_closed, std::vector<int>{4});
    EXPECT_EQ(a.get(), 5);
}

TEST_F(UniqueResourceTest, ClosingKeepsErrno) {
    errno = ENOENT;
    {
        Recorded a(1);
        a.reset(2);
    }
    EXPECT_EQ(g_closed.size(), 2u);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(UniqueResourceTest, ScopeExitRunsUnlessDismissedAndKeepsErrno) {
    int runs = 0;
    errno = EACCES;
    {
        auto guard = MakeScopeExit([&] {
            ++runs;
            errno = EINVAL;
        });
        auto moved = std::move(guard); // only the new owner runs
    }
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(errno, EACCES);
    {
        auto guard = MakeScopeExit([&] { ++runs; });
        guard.Dismiss();
    }
    EXPECT_EQ(runs, 1);
}

static_assert(!std::is_copy_constructible_v<Recorded>);
static_assert(!std::is_convertible_v<Recorded, int>);
static_assert(!std::is_convertible_v<int, Recorded>);

} // namespace
} // namespace platform
