#include "platform/registry.h"

#include "platform/registry_sandbox.h"
#include "platform/win/unique_hkey.h"

#include <gtest/gtest.h>

#include <random>

namespace platform {
namespace {

constexpr RegistryRoot kMachine = RegistryRoot::kLocalMachine;

bool RealKeyExists(HKEY root, const std::wstring& path) {
    UniqueHKey key;
    return ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

TEST(RegistrySandboxTest, RedirectsBothRootsAndLeavesNothingBehind) {
    std::wstring sandboxPath;
    {
        RegistrySandbox sandbox;
        ASSERT_EQ(sandbox.Error(), kErrorSuccess);
        sandboxPath = sandbox.KeyPath();
        ASSERT_EQ(sandbox.Get().WriteDword(kMachine, L"SOFTWARE\\NexiloSandboxProbe", L"v", 1),
                  kErrorSuccess);
        ASSERT_EQ(sandbox.Get().WriteDword(RegistryRoot::kCurrentUser,
                                           L"Software\\NexiloSandboxProbe", L"v", 1),
                  kErrorSuccess);
        // The redirection is process-wide: code that reaches for the system registry lands in it.
        EXPECT_EQ(SystemRegistry().ReadDword(kMachine, L"SOFTWARE\\NexiloSandboxProbe", L"v").value,
                  1u);
    }
    EXPECT_FALSE(RealKeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\NexiloSandboxProbe"));
    EXPECT_FALSE(RealKeyExists(HKEY_CURRENT_USER, L"Software\\NexiloSandboxProbe"));
    EXPECT_FALSE(RealKeyExists(HKEY_CURRENT_USER, sandboxPath));
}

// The i686 product reads the 32-bit view; a 64-bit tool reaches it only by asking for that view.
// A sandbox does not separate views, so this runs on the real HKEY_LOCAL_MACHINE with a key of
// its own that it deletes again.
TEST(RegistryViewTest, TheThirtyTwoBitViewIsApartFromTheSixtyFourBitOne) {
#if !defined(_WIN64)
    GTEST_SKIP() << "a 32-bit process sees the 32-bit view by default";
#endif
    std::random_device random;
    std::wstring path = L"SOFTWARE\\NexiloViewTest-" + std::to_wstring(random());
    auto view32 = MakeSystemRegistry(RegistryView::k32Bit);
    ErrorCode written = view32->WriteDword(kMachine, path, L"v", 32);
    if (written == kErrorAccessDenied) {
        GTEST_SKIP() << "writing HKEY_LOCAL_MACHINE needs an administrator";
    }
    ASSERT_EQ(written, kErrorSuccess);
    EXPECT_EQ(view32->ReadDword(kMachine, path, L"v").value, 32u);
    EXPECT_EQ(MakeSystemRegistry(RegistryView::k64Bit)->OpenKey(kMachine, path, KEY_READ).error,
              kErrorFileNotFound);
    EXPECT_EQ(::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_32KEY, 0),
              ERROR_SUCCESS);
}

} // namespace
} // namespace platform
