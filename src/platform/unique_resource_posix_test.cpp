#include "platform/unique_resource.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace platform {
namespace {

TEST(UniqueFdTest, ClosesTheDescriptor) {
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    UniqueFd read(fds[0]);
    { UniqueFd write(fds[1]); }
    EXPECT_EQ(::fcntl(fds[1], F_GETFD), -1);
    EXPECT_NE(::fcntl(read.get(), F_GETFD), -1);
}

} // namespace
} // namespace platform
