#include "platform/memory_protection.h"

#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace platform {
namespace {

std::vector<unsigned char> Pattern(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

class MemoryProtectionTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(MemoryProtectionTest, SealsInPlaceAndUnsealsACopyElsewhere) {
    const std::vector<unsigned char> clear = Pattern(GetParam());
    std::vector<unsigned char> sealed = clear;
    ASSERT_EQ(ProtectMemory(sealed.data(), sealed.size(), kProtectSameProcess), kErrorSuccess);
    if (!RunningUnderWine()) { // Wine: CryptProtectMemory is a stub that leaves the bytes as they
                               // are
        EXPECT_NE(sealed, clear);
    }

    // Sealing is deterministic and does not depend on the address.
    std::vector<unsigned char> again = clear;
    ASSERT_EQ(ProtectMemory(again.data(), again.size(), kProtectSameProcess), kErrorSuccess);
    EXPECT_EQ(again, sealed);

    std::vector<unsigned char> copy(sealed.size() + 16);
    std::copy(sealed.begin(), sealed.end(), copy.begin() + 16);
    ASSERT_EQ(UnprotectMemory(copy.data() + 16, sealed.size(), kProtectSameProcess), kErrorSuccess);
    EXPECT_TRUE(std::equal(clear.begin(), clear.end(), copy.begin() + 16));
}

// One block, two blocks, and sizes that cross the 4096-byte data unit of the POSIX cipher.
INSTANTIATE_TEST_SUITE_P(Sizes, MemoryProtectionTest, ::testing::Values(16, 32, 4096, 4112, 8208));

TEST(MemoryProtectionContractTest, RejectsPartialBlocksAndOtherScopes) {
    std::vector<unsigned char> bytes = Pattern(20);
    const std::vector<unsigned char> before = bytes;
    EXPECT_EQ(ProtectMemory(bytes.data(), 20, kProtectSameProcess), kErrorInvalidParameter);
    EXPECT_EQ(UnprotectMemory(bytes.data(), 20, kProtectSameProcess), kErrorInvalidParameter);
    EXPECT_EQ(ProtectMemory(bytes.data(), 16, 1), kErrorNotSupported);
    EXPECT_EQ(bytes, before);
}

TEST(MemoryProtectionContractTest, EqualBlocksInOneBufferSealDifferently) {
    if (RunningUnderWine()) {
        GTEST_SKIP() << "Wine: CryptProtectMemory is a stub that leaves the bytes as they are";
    }
    std::vector<unsigned char> bytes(32, 'x');
    ASSERT_EQ(ProtectMemory(bytes.data(), bytes.size(), kProtectSameProcess), kErrorSuccess);
    EXPECT_FALSE(std::equal(bytes.begin(), bytes.begin() + 16, bytes.begin() + 16));
}

} // namespace
} // namespace platform
