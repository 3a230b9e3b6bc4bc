#include "platform/memory_protection.h"

#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace platform {
namespace {

// Equal 16-byte blocks, so that a cipher that seals each block alone shows.
std::vector<unsigned char> Pattern(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(i % 16 + 1);
    }
    return bytes;
}

class MemoryProtectionTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(MemoryProtectionTest, SealsInPlaceAndUnsealsACopyElsewhere) {
    const std::vector<unsigned char> clear = Pattern(GetParam());
    std::vector<unsigned char> sealed = clear;
    ASSERT_EQ(ProtectMemory(sealed.data(), sealed.size(), kProtectSameProcess), kErrorSuccess);
    if (!RunningUnderWine()) { // Wine: CryptProtectMemory leaves the bytes as they are
        EXPECT_NE(sealed, clear);
        EXPECT_FALSE(sealed.size() > 16 &&
                     std::equal(sealed.begin(), sealed.begin() + 16, sealed.begin() + 16))
            << "equal blocks seal alike";
    }
    // Sealing is deterministic and does not depend on the address.
    std::vector<unsigned char> again = clear;
    ASSERT_EQ(ProtectMemory(again.data(), again.size(), kProtectSameProcess), kErrorSuccess);
    EXPECT_EQ(again, sealed);

    std::vector<unsigned char> copy(16);
    copy.insert(copy.end(), sealed.begin(), sealed.end());
    ASSERT_EQ(UnprotectMemory(copy.data() + 16, sealed.size(), kProtectSameProcess), kErrorSuccess);
    EXPECT_TRUE(std::equal(clear.begin(), clear.end(), copy.begin() + 16));
}

// One block, two blocks, and sizes that cross the 4096-byte data unit of the POSIX cipher.
INSTANTIATE_TEST_SUITE_P(Sizes, MemoryProtectionTest, ::testing::Values(16, 32, 4096, 4112, 8208),
                         [](const auto& info) { return "Bytes" + std::to_string(info.param); });

TEST(MemoryProtectionContractTest, RejectsPartialBlocksAndOtherScopes) {
    std::vector<unsigned char> bytes = Pattern(20);
    const std::vector<unsigned char> before = bytes;
    EXPECT_EQ(ProtectMemory(bytes.data(), 20, kProtectSameProcess), kErrorInvalidParameter);
    EXPECT_EQ(UnprotectMemory(bytes.data(), 20, kProtectSameProcess), kErrorInvalidParameter);
    EXPECT_EQ(ProtectMemory(bytes.data(), 16, 1), kErrorNotSupported);
    EXPECT_EQ(bytes, before);
}

} // namespace
} // namespace platform
