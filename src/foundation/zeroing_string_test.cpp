#include "foundation/zeroing_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace szm {
namespace {

// The watched block as the deallocation path handed it back, before the heap got it.
const void* g_watched = nullptr;
std::size_t g_watchedSize = 0;
bool g_watchedZero = false;

struct WatchingObserver {
    static void Scrubbed(const void* block, std::size_t size) noexcept {
        if (block == g_watched) {
            const auto* bytes = static_cast<const unsigned char*>(block);
            g_watchedSize = size;
            g_watchedZero = std::all_of(bytes, bytes + size, [](auto b) { return b == 0; });
        }
    }
};

using WatchedString = zeroing_string_t<char, WatchingObserver>;
using WatchedVector = std::vector<char, ZeroingAllocator<char, WatchingObserver>>;

class ZeroingStringTest : public ::testing::Test {
protected:
    static void Watch(const void* block) {
        g_watched = block;
        g_watchedSize = 0;
        g_watchedZero = false;
    }
};

TEST_F(ZeroingStringTest, EveryReleasedBlockReachesTheHeapZeroed) {
    auto secret = std::make_unique<WatchedString>("user-token-0123456789");
    const std::size_t capacity = secret->storage().capacity();
    Watch(secret->storage().data());
    secret.reset();
    EXPECT_EQ(g_watchedSize, capacity);
    EXPECT_TRUE(g_watchedZero);

    WatchedVector bytes(8, 'k');
    bytes.shrink_to_fit();
    Watch(bytes.data());
    bytes.push_back('k'); // forces a new block
    EXPECT_EQ(g_watchedSize, 8u) << "the outgrown block, over its whole capacity";
    EXPECT_TRUE(g_watchedZero);

    WatchedString first("first secret");
    WatchedString second(std::move(first));
    EXPECT_EQ(first.text(), nullptr);
    WatchedString third("another secret");
    Watch(third.storage().data());
    third = std::move(second);
    EXPECT_STREQ(third.text(), "first secret");
    EXPECT_TRUE(g_watchedZero) << "the replaced text";
}

} // namespace
} // namespace szm
