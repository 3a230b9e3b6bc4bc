#include "platform/unique_resource.h"

#include "platform/build_config.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

#if defined(NEXILO_OS_POSIX)
#include <fcntl.h>
#include <unistd.h>
#endif

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

static_assert(!std::is_copy_constructible_v<Recorded>);
static_assert(!std::is_convertible_v<Recorded, int>);
static_assert(!std::is_convertible_v<int, Recorded>);

TEST(UniqueResourceTest, ClosesOnceOnEveryWayOutAndKeepsErrno) {
    g_closed.clear();
    errno = ENOENT;
    {
        Recorded a(1);
        Recorded b(std::move(a));
        EXPECT_FALSE(a);
        Recorded c(3);
        c = std::move(b); // closes 3, takes 1
        c = std::move(c); // self-move keeps the value
        EXPECT_EQ(c.get(), 1);
        Recorded d(4);
        *d.put() = 5; // closes 4
        EXPECT_EQ(d.get(), 5);
        d.reset(6); // closes 5
        Recorded e(7);
        EXPECT_EQ(e.release(), 7);
        EXPECT_FALSE(e);
    }
    EXPECT_EQ(g_closed, (std::vector<int>{3, 4, 5, 6, 1}));
    EXPECT_EQ(errno, ENOENT);
}

TEST(UniqueResourceTest, ScopeExitRunsUnlessDismissedAndKeepsErrno) {
    int runs = 0;
    errno = EACCES;
    {
        auto guard = MakeScopeExit([&] {
            ++runs;
            errno = EINVAL;
        });
        auto moved = std::move(guard); // only the new owner runs
        auto dismissed = MakeScopeExit([&] { runs += 10; });
        dismissed.Dismiss();
    }
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(errno, EACCES);
}

#if defined(NEXILO_OS_POSIX)
TEST(UniqueFdTest, ClosesTheDescriptor) {
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    UniqueFd read(fds[0]);
    { UniqueFd write(fds[1]); }
    EXPECT_EQ(::fcntl(fds[1], F_GETFD), -1);
    EXPECT_NE(::fcntl(read.get(), F_GETFD), -1);
}
#endif

} // namespace
} // namespace platform
