#include "foundation/protected_string.h"

#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace cpm {
namespace {

using Clear = szm::zeroing_string_t<char>;

int g_calls = 0;
bool g_fail = false;

// Counts calls and fails on demand; otherwise inverts the bytes.
struct FakeProtection {
    static bool Protect(void* data, std::size_t size) noexcept {
        ++g_calls;
        for (std::size_t i = 0; i < size && !g_fail; ++i) {
            static_cast<unsigned char*>(data)[i] ^= 0xFF;
        }
        return !g_fail;
    }
    static bool Unprotect(void* data, std::size_t size) noexcept { return Protect(data, size); }
};
using FakeSealed = protected_string_t<FakeProtection, char>;

TEST(ProtectedStringTest, EmptyTextAndFailuresGiveTheEmptyText) {
    EXPECT_TRUE(FakeSealed{Clear("")}.sealed().empty());
    EXPECT_EQ(g_calls, 0) << "nothing to seal calls nothing";
    g_fail = true;
    EXPECT_TRUE(FakeSealed{Clear("device-1")}.sealed().empty());
    g_fail = false;
    const FakeSealed sealed{Clear("device-1")};
    g_fail = true;
    EXPECT_STREQ(sealed.Unseal().text(), "");
    g_fail = false;
    EXPECT_STREQ(sealed.Unseal().text(), "device-1") << "the failure changed nothing stored";
}

// With the platform's own protection: 15 characters and their terminator fill one block exactly,
// 16 need a second. A text holding a zero comes back cut there.
TEST(ProtectedStringTest, SealsWholeBlocksAndUnsealsTheExactText) {
    const struct {
        Clear clear;
        std::size_t sealedSize;
        const char* unsealed;
    } cases[] = {{Clear("a"), 16, "a"},
                 {Clear("fifteen-chars-x"), 16, "fifteen-chars-x"},
                 {Clear("sixteen-chars-xy"), 32, "sixteen-chars-xy"},
                 {Clear("ab\0cd", 5), 16, "ab"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.unsealed);
        const ProtectedString sealed(c.clear);
        EXPECT_EQ(sealed.sealed().size(), c.sealedSize);
        // Wine: CryptProtectMemory leaves the bytes as they are.
        if (!platform::RunningUnderWine()) {
            // The whole block against the clear block padded alike: a short prefix of the
            // ciphertext may equal the clear text by chance, a block practically never does.
            std::vector<char> padded(c.sealedSize, 0);
            std::memcpy(padded.data(), c.clear.storage().data(), c.clear.storage().size());
            EXPECT_NE(std::memcmp(sealed.sealed().data(), padded.data(), padded.size()), 0);
        }
        const szm::ZeroingVector before = sealed.sealed();
        const Clear again = sealed.Unseal();
        EXPECT_EQ(std::string(again.text(), again.length()), c.unsealed);
        EXPECT_EQ(sealed.sealed(), before) << "unsealing works on a copy, so threads may share";
    }
}

} // namespace
} // namespace cpm
