#include "foundation/protected_string.h"

#include "platform/wine_detection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace cpm {
namespace {

int g_calls = 0;
bool g_fail = false;

// Counts calls and fails on demand; otherwise inverts the bytes, so sealed differs from clear.
struct FakeProtection {
    static bool Flip(void* data, std::size_t size) noexcept {
        ++g_calls;
        if (g_fail) {
            return false;
        }
        auto* bytes = static_cast<unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<unsigned char>(~bytes[i]);
        }
        return true;
    }
    static bool Protect(void* data, std::size_t size) noexcept { return Flip(data, size); }
    static bool Unprotect(void* data, std::size_t size) noexcept { return Flip(data, size); }
};
using FakeSealed = protected_string_t<FakeProtection, char>;

class ProtectedStringTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_calls = 0;
        g_fail = false;
    }
};

TEST_F(ProtectedStringTest, EmptyTextCallsNothingAndUnsealsEmpty) {
    FakeSealed sealed{szm::zeroing_string_t<char>("")};
    EXPECT_TRUE(sealed.sealed().empty());
    EXPECT_STREQ(sealed.Unseal().text(), "");
    EXPECT_EQ(g_calls, 0);
}

TEST_F(ProtectedStringTest, FailedSealOrUnsealGivesTheEmptyText) {
    g_fail = true;
    FakeSealed failedSeal{szm::zeroing_string_t<char>("device-1")};
    EXPECT_TRUE(failedSeal.sealed().empty());
    EXPECT_STREQ(failedSeal.Unseal().text(), "");

    g_fail = false;
    FakeSealed sealed{szm::zeroing_string_t<char>("device-1")};
    g_fail = true;
    EXPECT_STREQ(sealed.Unseal().text(), "");
    g_fail = false;
    EXPECT_STREQ(sealed.Unseal().text(), "device-1"); // the failure changed nothing stored
}

// The block edges with the platform's own protection: 15 characters and their terminator fill
// one block exactly, 16 need a second.
TEST_F(ProtectedStringTest, SealsWholeBlocksAndUnsealsTheExactText) {
    for (const std::string text :
         {"a", "fifteen-chars-x", "sixteen-chars-xy", "a-longer-user-token-of-40-characters-xyz"}) {
        const szm::zeroing_string_t<char> clear(text.c_str());
        const ProtectedString sealed(clear);
        EXPECT_EQ(sealed.sealed().size(), (text.size() + 1 + 15) / 16 * 16) << text;
        if (!platform::RunningUnderWine()) { // Wine: CryptProtectMemory leaves the bytes as they
                                             // are
            EXPECT_NE(std::memcmp(sealed.sealed().data(), clear.storage().data(), text.size()), 0)
                << text;
        }
        const szm::ZeroingVector before = sealed.sealed();
        EXPECT_EQ(std::string(sealed.Unseal().text()), text);
        EXPECT_EQ(sealed.sealed(), before);
        szm::zeroing_string_t<char> again = sealed.Unseal();
        EXPECT_EQ(std::string(again.text(), again.length()), text);
    }
    EXPECT_EQ(ProtectedString(szm::zeroing_string_t<char>("fifteen-chars-x")).sealed().size(), 16u);
    EXPECT_EQ(ProtectedString(szm::zeroing_string_t<char>("sixteen-chars-xy")).sealed().size(),
              32u);
}

TEST_F(ProtectedStringTest, TextWithANulComesBackCutThere) {
    const char raw[] = {'a', 'b', '\0', 'c', 'd'};
    const ProtectedString sealed{szm::zeroing_string_t<char>(raw, sizeof raw)};
    szm::zeroing_string_t<char> clear = sealed.Unseal();
    EXPECT_EQ(clear.length(), 2u);
    EXPECT_STREQ(clear.text(), "ab");
}

TEST_F(ProtectedStringTest, ThreadsUnsealOneObjectAtOnce) {
    const ProtectedString sealed{szm::zeroing_string_t<char>("shared-device-id")};
    std::vector<std::thread> threads;
    std::vector<int> good(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                good[t] += std::strcmp(sealed.Unseal().text(), "shared-device-id") == 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(4, 200));
}

const void* g_watched = nullptr;
bool g_watchedFreedZero = false;

TEST(ProtectedIdentityTest, AssignSealsEachFieldAndScrubsWhatItReplaces) {
    ProtectedIdentity identity;
    identity.Assign(szm::zeroing_string_t<char>("device"), szm::zeroing_string_t<char>("app"),
                    szm::zeroing_string_t<char>("token-1"));
    EXPECT_STREQ(identity.device_id.Unseal().text(), "device");
    EXPECT_STREQ(identity.app_id.Unseal().text(), "app");
    EXPECT_STREQ(identity.user_token.Unseal().text(), "token-1");

    g_watched = identity.user_token.sealed().data();
    szm::SetScrubObserverForTesting([](const void* block, std::size_t size) {
        if (block == g_watched) {
            const auto* bytes = static_cast<const unsigned char*>(block);
            g_watchedFreedZero = std::all_of(bytes, bytes + size, [](auto b) { return b == 0; });
        }
    });
    identity.Assign(szm::zeroing_string_t<char>("device"), szm::zeroing_string_t<char>("app"),
                    szm::zeroing_string_t<char>("token-2"));
    szm::SetScrubObserverForTesting(nullptr);
    EXPECT_TRUE(g_watchedFreedZero);
    EXPECT_STREQ(identity.user_token.Unseal().text(), "token-2");
}

} // namespace
} // namespace cpm
