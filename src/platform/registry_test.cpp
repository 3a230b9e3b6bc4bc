#include "platform/registry.h"

#include "platform/registry_sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

namespace platform {
namespace {

using ::testing::ElementsAre;

constexpr RegistryRoot kMachine = RegistryRoot::kLocalMachine;

// Every implementation of the seam on this system, each isolated in its own sandbox, and a way to
// reach the same store through a second, independent instance.
#if defined(NEXILO_OS_POSIX)
struct FileRegistryUnderTest {
    static std::unique_ptr<Registry> SecondInstance(RegistrySandbox& sandbox) {
        return MakeFileRegistry(sandbox.Folder());
    }
};
using Implementations = ::testing::Types<FileRegistryUnderTest>;
#else
struct WindowsRegistryUnderTest {
    static std::unique_ptr<Registry> SecondInstance(RegistrySandbox&) {
        return MakeSystemRegistry(RegistryView::kNative);
    }
};
using Implementations = ::testing::Types<WindowsRegistryUnderTest>;
#endif

template <class T>
class RegistryContractTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(m_sandbox.Error(), kErrorSuccess);
        RegistryKeyResult created = Reg().CreateKey(kMachine, L"SOFTWARE\\Corvane", kKeyAllAccess);
        ASSERT_EQ(created.error, kErrorSuccess);
        m_key = std::move(created.key);
    }

    Registry& Reg() { return m_sandbox.Get(); }
    std::unique_ptr<Registry> Second() { return T::SecondInstance(m_sandbox); }

    RegistrySandbox m_sandbox;
    std::unique_ptr<RegistryKey> m_key; // SOFTWARE\Corvane with all access
};

TYPED_TEST_SUITE(RegistryContractTest, Implementations);

TYPED_TEST(RegistryContractTest, MissingKeysAndValuesGiveFileNotFound) {
    RegistryKeyResult missing = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Absent", kKeyRead);
    EXPECT_EQ(missing.error, kErrorFileNotFound);
    EXPECT_EQ(missing.key, nullptr);
    EXPECT_EQ(this->Reg().ReadDword(kMachine, L"SOFTWARE\\Absent", L"v").error, kErrorFileNotFound);
    std::uint32_t size = 0;
    EXPECT_EQ(this->m_key->QueryValue(L"Fingerprint", nullptr, nullptr, &size), kErrorFileNotFound);
    EXPECT_EQ(this->m_key->GetString(L"Fingerprint").error, kErrorFileNotFound);
}

TYPED_TEST(RegistryContractTest, StringsAreSizedInUtf16BytesAndASmallBufferLearnsTheSize) {
    // U+00FC takes one UTF-16 unit, U+1F600 takes two, however wide wchar_t is.
    const std::wstring smiley =
        sizeof(wchar_t) == 2 ? std::wstring(L"\xD83D\xDE00") : std::wstring(1, wchar_t(0x1F600));
    const std::pair<std::wstring, std::uint32_t> cases[] = {
        {L"", 2}, {L"Gr\u00FC\u00DFe", 12}, {L"a" + smiley, 8}, {L"hello wine", 22}};
    for (const auto& [text, expectedSize] : cases) {
        ASSERT_EQ(this->m_key->SetString(L"v", text), kErrorSuccess);
        std::uint32_t size = 0;
        ASSERT_EQ(this->m_key->QueryValue(L"v", nullptr, nullptr, &size), kErrorSuccess);
        EXPECT_EQ(size, expectedSize);
        EXPECT_EQ(this->m_key->GetString(L"v").value, text);
    }
    unsigned char buffer[22];
    std::uint32_t type = 0;
    std::uint32_t size = 4;
    EXPECT_EQ(this->m_key->QueryValue(L"v", &type, buffer, &size), kErrorMoreData);
    EXPECT_EQ(size, 22u);
    EXPECT_EQ(type, kRegSz);
    size = sizeof(buffer);
    ASSERT_EQ(this->m_key->QueryValue(L"v", nullptr, buffer, &size), kErrorSuccess);
    EXPECT_EQ(TextFromRegistryBytes(buffer, size), L"hello wine");
    EXPECT_EQ(buffer[20] | buffer[21], 0) << "the terminator is part of the value";
    EXPECT_EQ(this->m_key->QueryValue(L"v", &type, buffer, nullptr), kErrorInvalidParameter);
}

TYPED_TEST(RegistryContractTest, NamesMatchWithoutCaseAndKeepTheirFirstSpelling) {
    RegistryKeyResult first =
        this->Reg().CreateKey(kMachine, L"Software\\Corvane\\Agent", kKeyAllAccess);
    ASSERT_EQ(first.error, kErrorSuccess);
    EXPECT_TRUE(first.created);
    ASSERT_EQ(first.key->SetString(L"InstallPath", L"C:\\first"), kErrorSuccess);
    ASSERT_EQ(first.key->SetString(L"INSTALLPATH", L"C:\\second"), kErrorSuccess);

    EXPECT_EQ(this->Reg().ReadString(kMachine, L"software\\CORVANE\\agent", L"installpath").value,
              L"C:\\second");
    EXPECT_THAT(first.key->ValueNames().names, ElementsAre(L"InstallPath"));
    RegistryKeyResult again =
        this->Reg().CreateKey(kMachine, L"SOFTWARE\\CORVANE\\AGENT", kKeyRead);
    ASSERT_EQ(again.error, kErrorSuccess);
    EXPECT_FALSE(again.created);
    EXPECT_THAT(this->m_key->SubKeyNames().names, ElementsAre(L"Agent"));
}

TYPED_TEST(RegistryContractTest, SetKeyValueCreatesTheMissingKeysOfItsPath) {
    Registry& reg = this->Reg();
    ASSERT_EQ(reg.WriteDword(kMachine, L"SOFTWARE\\Corvane\\X\\Y", L"bp_product_install", 0),
              kErrorSuccess);
    EXPECT_EQ(reg.OpenKey(kMachine, L"SOFTWARE\\Corvane\\X", kKeyRead).error, kErrorSuccess);
    RegistryDword read = reg.ReadDword(kMachine, L"SOFTWARE\\Corvane\\X\\Y", L"bp_product_install");
    EXPECT_EQ(read.error, kErrorSuccess);
    EXPECT_EQ(read.value, 0u);

    // Empty parts are skipped, a leading backslash is refused, an empty path is the root key.
    EXPECT_EQ(reg.OpenKey(kMachine, L"SOFTWARE\\\\Corvane\\X\\", kKeyRead).error, kErrorSuccess);
    EXPECT_EQ(reg.CreateKey(kMachine, L"\\Lead", kKeyRead).error, kErrorBadPathname);
    ASSERT_EQ(reg.WriteString(kMachine, L"", L"top", L"level"), kErrorSuccess);
    EXPECT_EQ(reg.ReadString(kMachine, L"", L"top").value, L"level");
    EXPECT_EQ(reg.ReadString(RegistryRoot::kCurrentUser, L"", L"top").error, kErrorFileNotFound)
        << "the roots are apart";
}

TYPED_TEST(RegistryContractTest, TypedCallsCheckTypesAndArguments) {
    RegistryKey& key = *this->m_key;
    ASSERT_EQ(key.SetDword(L"number", 0xFFFFFFFFu), kErrorSuccess);
    EXPECT_EQ(key.GetDword(L"number").value, 0xFFFFFFFFu);
    EXPECT_EQ(key.GetString(L"number").error, kErrorUnsupportedType);
    ASSERT_EQ(key.SetString(L"text", L"1"), kErrorSuccess);
    EXPECT_EQ(key.GetDword(L"text").error, kErrorUnsupportedType);
    const std::uint32_t one = 1;
    ASSERT_EQ(key.SetValue(L"short", kRegDword, &one, 3), kErrorSuccess);
    EXPECT_EQ(key.GetDword(L"short").error, kErrorInvalidData);

    EXPECT_EQ(key.SetValue(L"null", kRegDword, nullptr, 4), kErrorNoAccess);
    EXPECT_EQ(key.SetValue(std::wstring(kMaxValueNameLength, L'n'), kRegDword, &one, 4),
              kErrorSuccess);
    EXPECT_EQ(key.SetValue(std::wstring(kMaxValueNameLength + 1, L'm'), kRegDword, &one, 4),
              kErrorInvalidParameter);
}

TYPED_TEST(RegistryContractTest, ValuesKeepTheirBytesAndTypeForASecondInstance) {
    struct Case {
        const wchar_t* name;
        std::uint32_t type;
        std::vector<unsigned char> bytes;
    };
    const Case cases[] = {
        {L"binary", kRegBinary, {0, 1, 0xFF, 0x7F}},
        {L"empty", kRegBinary, {}},
        {L"multi", kRegMultiSz, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
        {L"odd sz", kRegSz, {'a', 'b', 'c'}},
        {L"unterminated sz", kRegSz, {'a', 0, 'b', 0}},
        {L"lone surrogate", kRegSz, {0x00, 0xD8, 'x', 0, 0, 0}},
        {L"tab\tand %41 custom", 99, {'\n', '\t', '%'}},
    };
    for (const Case& c : cases) {
        // Windows appends a terminator to string data that lacks one when the memory right after
        // the data holds one; the padding keeps the bytes as given.
        unsigned char padded[16];
        std::memset(padded, 0xEE, sizeof(padded));
        std::copy(c.bytes.begin(), c.bytes.end(), padded);
        ASSERT_EQ(this->m_key->SetValue(c.name, c.type, padded,
                                        static_cast<std::uint32_t>(c.bytes.size())),
                  kErrorSuccess)
            << c.name;
    }
    auto reopened = this->Second()->OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyRead);
    ASSERT_EQ(reopened.error, kErrorSuccess);
    for (const Case& c : cases) {
        unsigned char buffer[16];
        std::uint32_t type = 0;
        std::uint32_t size = sizeof(buffer);
        ASSERT_EQ(reopened.key->QueryValue(c.name, &type, buffer, &size), kErrorSuccess) << c.name;
        EXPECT_EQ(type, c.type) << c.name;
        EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + size), c.bytes) << c.name;
    }
}

TYPED_TEST(RegistryContractTest, WritesPersistForOtherInstancesAndOpenKeys) {
    auto second = this->Second();
    auto seenBefore = second->OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyRead);
    ASSERT_EQ(seenBefore.error, kErrorSuccess);
    ASSERT_EQ(this->m_key->SetString(L"Fingerprint", L"fp-1"), kErrorSuccess);
    EXPECT_EQ(seenBefore.key->GetString(L"Fingerprint").value, L"fp-1");

    ASSERT_EQ(second->WriteDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install", 1),
              kErrorSuccess);
    EXPECT_EQ(this->m_key->GetDword(L"bp_product_install").value, 1u);
    this->m_key.reset();
    second.reset();
    EXPECT_EQ(this->Second()->ReadString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint").value,
              L"fp-1");
}

TYPED_TEST(RegistryContractTest, KeysEnforceTheirAccessRights) {
    ASSERT_EQ(this->m_key->SetDword(L"v", 7), kErrorSuccess);
    auto readOnly = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyQueryValue);
    auto writeOnly = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeySetValue);
    ASSERT_EQ(readOnly.error | writeOnly.error, kErrorSuccess);
    EXPECT_EQ(readOnly.key->SetDword(L"v", 8), kErrorAccessDenied);
    EXPECT_EQ(readOnly.key->SubKeyNames().error, kErrorAccessDenied);
    EXPECT_EQ(writeOnly.key->GetDword(L"v").error, kErrorAccessDenied);
    EXPECT_EQ(writeOnly.key->SetDword(L"v", 9), kErrorSuccess);
    EXPECT_EQ(readOnly.key->GetDword(L"v").value, 9u);
}

TYPED_TEST(RegistryContractTest, ConcurrentWritersLoseNothing) {
    constexpr int kWriters = 4;
    constexpr int kEach = 25;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        // Each thread has its own instance, as separate processes would.
        threads.emplace_back([registry = this->Second(), writer] {
            for (int i = 0; i < kEach; ++i) {
                std::wstring name = L"w" + std::to_wstring(writer) + L"-" + std::to_wstring(i);
                EXPECT_EQ(registry->WriteDword(kMachine, L"Shared", name, i), kErrorSuccess);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    auto key = this->Reg().OpenKey(kMachine, L"Shared", kKeyRead);
    ASSERT_EQ(key.error, kErrorSuccess);
    EXPECT_EQ(key.key->ValueNames().names.size(), std::size_t{kWriters * kEach});
}

} // namespace
} // namespace platform
