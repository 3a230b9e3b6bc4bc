#include "foundation/zeroing_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace szm {
namespace {

// What the deallocation path handed back, looked at before the heap got the block.
struct FreedBlock {
    const void* block;
    std::size_t size;
    bool allZero;
};
FreedBlock g_freed[64];
std::size_t g_freedCount = 0;

void RecordFreed(const void* block, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    bool allZero = std::all_of(bytes, bytes + size, [](unsigned char b) { return b == 0; });
    if (g_freedCount < std::size(g_freed)) {
        g_freed[g_freedCount++] = {block, size, allZero};
    }
}

const FreedBlock* FindFreed(const void* block) {
    for (std::size_t i = 0; i < g_freedCount; ++i) {
        if (g_freed[i].block == block) {
            return &g_freed[i];
        }
    }
    return nullptr;
}

class ZeroingStringTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_freedCount = 0;
        SetScrubObserverForTesting(&RecordFreed);
    }
    void TearDown() override { SetScrubObserverForTesting(nullptr); }
};

TEST_F(ZeroingStringTest, DestructorHandsBackAZeroedBlock) {
    auto secret = std::make_unique<zeroing_string_t<char>>("user-token-0123456789");
    const void* block = secret->storage().data();
    const std::size_t capacity = secret->storage().capacity();
    ASSERT_EQ(secret->length(), 21u);
    ASSERT_STREQ(secret->text(), "user-token-0123456789");
    secret.reset();

    const FreedBlock* freed = FindFreed(block);
    ASSERT_NE(freed, nullptr);
    EXPECT_EQ(freed->size, capacity);
    EXPECT_TRUE(freed->allZero);
}

TEST_F(ZeroingStringTest, GrowthScrubsTheOutgrownBlock) {
    ZeroingVector bytes(8, 'k');
    bytes.shrink_to_fit();
    const void* old = bytes.data();
    const std::size_t oldCapacity = bytes.capacity();
    bytes.push_back('k'); // forces a new block
    ASSERT_NE(bytes.data(), old);

    const FreedBlock* freed = FindFreed(old);
    ASSERT_NE(freed, nullptr);
    EXPECT_EQ(freed->size, oldCapacity);
    EXPECT_TRUE(freed->allZero);
}

TEST_F(ZeroingStringTest, MoveLeavesTheSourceEmptyAndAssignmentScrubsTheOldText) {
    zeroing_string_t<char> first("first secret");
    zeroing_string_t<char> second(std::move(first));
    EXPECT_EQ(first.text(), nullptr);
    EXPECT_EQ(first.length(), 0u);
    EXPECT_STREQ(second.text(), "first secret");

    zeroing_string_t<char> third("another secret");
    const void* replaced = third.storage().data();
    third = std::move(second);
    EXPECT_STREQ(third.text(), "first secret");
    const FreedBlock* freed = FindFreed(replaced);
    ASSERT_NE(freed, nullptr);
    EXPECT_TRUE(freed->allZero);
}

TEST_F(ZeroingStringTest, EmptyFormsHoldATerminator) {
    zeroing_string_t<char> empty;
    zeroing_string_t<char> fromNull(nullptr);
    for (const auto* text : {&empty, &fromNull}) {
        EXPECT_EQ(text->length(), 0u);
        ASSERT_NE(text->text(), nullptr);
        EXPECT_EQ(text->text()[0], '\0');
        EXPECT_EQ(text->storage().size(), 1u);
    }
}

} // namespace
} // namespace szm
