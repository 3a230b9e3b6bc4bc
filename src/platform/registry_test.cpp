#include "platform/registry.h"

#include "platform/registry_sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

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
    void SetUp() override { ASSERT_EQ(m_sandbox.Error(), kErrorSuccess); }

    Registry& Reg() { return m_sandbox.Get(); }
    std::unique_ptr<Registry> Second() { return T::SecondInstance(m_sandbox); }

    std::unique_ptr<RegistryKey> Create(std::wstring_view path,
                                        std::uint32_t access = kKeyAllAccess) {
        RegistryKeyResult result = Reg().CreateKey(kMachine, path, access);
        EXPECT_EQ(result.error, kErrorSuccess);
        return std::move(result.key);
    }

    RegistrySandbox m_sandbox;
};

TYPED_TEST_SUITE(RegistryContractTest, Implementations);

TYPED_TEST(RegistryContractTest, MissingKeysAndValuesGiveFileNotFound) {
    RegistryKeyResult missing = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyRead);
    EXPECT_EQ(missing.error, kErrorFileNotFound);
    EXPECT_EQ(missing.key, nullptr);
    EXPECT_EQ(this->Reg().ReadDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install").error,
              kErrorFileNotFound);

    auto key = this->Create(L"SOFTWARE\\Corvane");
    ASSERT_NE(key, nullptr);
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    EXPECT_EQ(key->QueryValue(L"Fingerprint", &type, nullptr, &size), kErrorFileNotFound);
    EXPECT_EQ(key->GetString(L"Fingerprint").error, kErrorFileNotFound);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane\\Deeper", kKeyRead).error,
              kErrorFileNotFound);
}

TYPED_TEST(RegistryContractTest, QueryFollowsTheWindowsSizeContract) {
    auto key = this->Create(L"SOFTWARE\\Sizes");
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->SetString(L"text", L"hello wine"), kErrorSuccess);

    std::uint32_t type = 0;
    std::uint32_t size = 0;
    ASSERT_EQ(key->QueryValue(L"text", &type, nullptr, &size), kErrorSuccess);
    EXPECT_EQ(type, kRegSz);
    EXPECT_EQ(size, 22u);

    unsigned char small[4];
    size = sizeof(small);
    type = 0;
    EXPECT_EQ(key->QueryValue(L"text", &type, small, &size), kErrorMoreData);
    EXPECT_EQ(size, 22u);
    EXPECT_EQ(type, kRegSz);

    unsigned char exact[22];
    size = sizeof(exact);
    ASSERT_EQ(key->QueryValue(L"text", nullptr, exact, &size), kErrorSuccess);
    EXPECT_EQ(TextFromRegistryBytes(exact, size), L"hello wine");
    EXPECT_EQ(exact[20], 0);
    EXPECT_EQ(exact[21], 0);

    EXPECT_EQ(key->QueryValue(L"text", &type, exact, nullptr), kErrorInvalidParameter);
    EXPECT_EQ(key->QueryValue(L"text", nullptr, nullptr, nullptr), kErrorSuccess);
}

TYPED_TEST(RegistryContractTest, StringSizesCountUtf16UnitsAndTerminator) {
    auto key = this->Create(L"SOFTWARE\\Text");
    ASSERT_NE(key, nullptr);
    struct Case {
        std::wstring text;
        std::uint32_t size;
    };
    // U+00FC takes one UTF-16 unit, U+1F600 takes two, however wide wchar_t is.
    const std::wstring smiley =
        sizeof(wchar_t) == 2 ? std::wstring(L"\xD83D\xDE00") : std::wstring(1, wchar_t(0x1F600));
    const Case cases[] = {{L"", 2}, {L"Gr\u00FC\u00DFe", 12}, {L"a" + smiley, 8}};
    for (const Case& c : cases) {
        ASSERT_EQ(key->SetString(L"v", c.text), kErrorSuccess);
        std::uint32_t size = 0;
        ASSERT_EQ(key->QueryValue(L"v", nullptr, nullptr, &size), kErrorSuccess);
        EXPECT_EQ(size, c.size);
        RegistryString read = key->GetString(L"v");
        EXPECT_EQ(read.error, kErrorSuccess);
        EXPECT_EQ(read.value, c.text);
    }
}

TYPED_TEST(RegistryContractTest, NamesMatchWithoutCaseAndKeepTheirFirstSpelling) {
    auto key = this->Create(L"SOFTWARE\\Corvane Agent\\Install");
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->SetString(L"InstallPath", L"C:\\first"), kErrorSuccess);
    ASSERT_EQ(key->SetString(L"INSTALLPATH", L"C:\\second"), kErrorSuccess);

    RegistryString read =
        this->Reg().ReadString(kMachine, L"software\\CORVANE AGENT\\install", L"installpath");
    EXPECT_EQ(read.error, kErrorSuccess);
    EXPECT_EQ(read.value, L"C:\\second");

    RegistryNames values = key->ValueNames();
    EXPECT_EQ(values.error, kErrorSuccess);
    EXPECT_THAT(values.names, ElementsAre(L"InstallPath"));

    RegistryKeyResult again = this->Reg().CreateKey(kMachine, L"SOFTWARE\\CORVANE AGENT", kKeyRead);
    ASSERT_EQ(again.error, kErrorSuccess);
    EXPECT_FALSE(again.created);
    auto software = this->Reg().OpenKey(kMachine, L"Software", kKeyRead);
    ASSERT_EQ(software.error, kErrorSuccess);
    RegistryNames children = software.key->SubKeyNames();
    EXPECT_EQ(children.error, kErrorSuccess);
    EXPECT_THAT(children.names, ElementsAre(L"Corvane Agent"));
}

TYPED_TEST(RegistryContractTest, CreateKeyReportsWhetherItCreated) {
    RegistryKeyResult first = this->Reg().CreateKey(kMachine, L"A\\B", kKeyRead);
    ASSERT_EQ(first.error, kErrorSuccess);
    EXPECT_TRUE(first.created);
    RegistryKeyResult second = this->Reg().CreateKey(kMachine, L"a\\b", kKeyRead);
    ASSERT_EQ(second.error, kErrorSuccess);
    EXPECT_FALSE(second.created);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"A", kKeyRead).error, kErrorSuccess);
}

TYPED_TEST(RegistryContractTest, PathsSkipEmptyPartsButRejectALeadingBackslash) {
    EXPECT_EQ(this->Reg().CreateKey(kMachine, L"\\Lead", kKeyRead).error, kErrorBadPathname);
    ASSERT_EQ(this->Reg().CreateKey(kMachine, L"B\\\\C\\", kKeyRead).error, kErrorSuccess);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"B\\C", kKeyRead).error, kErrorSuccess);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"\\B", kKeyRead).error, kErrorBadPathname);
}

TYPED_TEST(RegistryContractTest, SetKeyValueCreatesTheMissingKeys) {
    ASSERT_EQ(
        this->Reg().WriteDword(kMachine, L"SOFTWARE\\Corvane\\X\\Y", L"bp_product_install", 0),
        kErrorSuccess);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane\\X", kKeyRead).error,
              kErrorSuccess);
    RegistryDword read =
        this->Reg().ReadDword(kMachine, L"SOFTWARE\\Corvane\\X\\Y", L"bp_product_install");
    EXPECT_EQ(read.error, kErrorSuccess);
    EXPECT_EQ(read.value, 0u);

    // An empty path is the root key itself.
    ASSERT_EQ(this->Reg().WriteString(kMachine, L"", L"top", L"level"), kErrorSuccess);
    EXPECT_EQ(this->Reg().ReadString(kMachine, L"", L"top").value, L"level");
}

TYPED_TEST(RegistryContractTest, TypedReadsCheckTheType) {
    auto key = this->Create(L"SOFTWARE\\Corvane");
    ASSERT_NE(key, nullptr);
    for (std::uint32_t value : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        ASSERT_EQ(key->SetDword(L"bp_product_install", value), kErrorSuccess);
        RegistryDword read = key->GetDword(L"bp_product_install");
        EXPECT_EQ(read.error, kErrorSuccess);
        EXPECT_EQ(read.value, value);
    }
    EXPECT_EQ(key->GetString(L"bp_product_install").error, kErrorUnsupportedType);

    ASSERT_EQ(key->SetString(L"text", L"1"), kErrorSuccess);
    EXPECT_EQ(key->GetDword(L"text").error, kErrorUnsupportedType);

    const unsigned char three[3] = {1, 2, 3};
    ASSERT_EQ(key->SetValue(L"short", kRegDword, three, sizeof(three)), kErrorSuccess);
    EXPECT_EQ(key->GetDword(L"short").error, kErrorInvalidData);
}

TYPED_TEST(RegistryContractTest, ValuesKeepTheirBytesAndType) {
    auto key = this->Create(L"SOFTWARE\\Bytes");
    ASSERT_NE(key, nullptr);
    const std::vector<unsigned char> multi = {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0};
    struct Case {
        const wchar_t* name;
        std::uint32_t type;
        std::vector<unsigned char> bytes;
    };
    const Case cases[] = {
        {L"binary", kRegBinary, {0, 1, 0xFF, 0x7F}},
        {L"empty", kRegBinary, {}},
        {L"qword", kRegQword, {1, 2, 3, 4, 5, 6, 7, 0x80}},
        {L"multi", kRegMultiSz, multi},
        {L"expand", kRegExpandSz, {'%', 0, 'X', 0, '%', 0, 0, 0}},
        {L"odd sz", kRegSz, {'a', 'b', 'c'}},
        {L"unterminated sz", kRegSz, {'a', 0, 'b', 0}},
        {L"lone surrogate", kRegSz, {0x00, 0xD8, 'x', 0, 0, 0}},
        {L"custom type", 99, {'x'}},
        {L"tab\tand %41 percent", kRegNone, {'\n', '\t', '%'}},
    };
    for (const Case& c : cases) {
        // Windows appends a terminator to string data that lacks one when the memory right after
        // the data holds one; the padding keeps the bytes as given.
        unsigned char padded[64];
        std::memset(padded, 0xEE, sizeof(padded));
        std::copy(c.bytes.begin(), c.bytes.end(), padded);
        ASSERT_EQ(key->SetValue(c.name, c.type, padded, static_cast<std::uint32_t>(c.bytes.size())),
                  kErrorSuccess)
            << c.name;
    }
    auto reopened = this->Second()->OpenKey(kMachine, L"SOFTWARE\\Bytes", kKeyRead);
    ASSERT_EQ(reopened.error, kErrorSuccess);
    for (const Case& c : cases) {
        unsigned char buffer[64];
        std::uint32_t type = 0;
        std::uint32_t size = sizeof(buffer);
        ASSERT_EQ(reopened.key->QueryValue(c.name, &type, buffer, &size), kErrorSuccess) << c.name;
        EXPECT_EQ(type, c.type) << c.name;
        EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + size), c.bytes) << c.name;
    }
}

TYPED_TEST(RegistryContractTest, WritesPersistForOtherInstancesAndOpenKeys) {
    auto key = this->Create(L"SOFTWARE\\Corvane");
    ASSERT_NE(key, nullptr);
    auto second = this->Second();
    auto seenBefore = second->OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyRead);
    ASSERT_EQ(seenBefore.error, kErrorSuccess);

    ASSERT_EQ(key->SetString(L"Fingerprint", L"fp-1"), kErrorSuccess);
    EXPECT_EQ(seenBefore.key->GetString(L"Fingerprint").value, L"fp-1");
    EXPECT_EQ(second->ReadString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint").value, L"fp-1");

    ASSERT_EQ(second->WriteDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install", 1),
              kErrorSuccess);
    EXPECT_EQ(key->GetDword(L"bp_product_install").value, 1u);
    key.reset();
    second.reset();
    EXPECT_EQ(this->Second()->ReadString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint").value,
              L"fp-1");
}

TYPED_TEST(RegistryContractTest, KeysEnforceTheirAccessRights) {
    ASSERT_EQ(this->Reg().WriteDword(kMachine, L"SOFTWARE\\Corvane", L"v", 7), kErrorSuccess);
    auto readOnly = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeyQueryValue);
    ASSERT_EQ(readOnly.error, kErrorSuccess);
    EXPECT_EQ(readOnly.key->SetDword(L"v", 8), kErrorAccessDenied);
    EXPECT_EQ(readOnly.key->SubKeyNames().error, kErrorAccessDenied);
    EXPECT_EQ(readOnly.key->GetDword(L"v").value, 7u);

    auto writeOnly = this->Reg().OpenKey(kMachine, L"SOFTWARE\\Corvane", kKeySetValue);
    ASSERT_EQ(writeOnly.error, kErrorSuccess);
    EXPECT_EQ(writeOnly.key->GetDword(L"v").error, kErrorAccessDenied);
    EXPECT_EQ(writeOnly.key->SetDword(L"v", 9), kErrorSuccess);
    EXPECT_EQ(readOnly.key->GetDword(L"v").value, 9u);
}

TYPED_TEST(RegistryContractTest, RejectsBadValueArguments) {
    auto key = this->Create(L"SOFTWARE\\Args");
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->SetValue(L"null", kRegDword, nullptr, 4), kErrorNoAccess);
    EXPECT_EQ(key->SetValue(L"empty", kRegBinary, nullptr, 0), kErrorSuccess);
    const std::uint32_t one = 1;
    EXPECT_EQ(key->SetValue(std::wstring(kMaxValueNameLength, L'n'), kRegDword, &one, 4),
              kErrorSuccess);
    EXPECT_EQ(key->SetValue(std::wstring(kMaxValueNameLength + 1, L'm'), kRegDword, &one, 4),
              kErrorInvalidParameter);
}

TYPED_TEST(RegistryContractTest, RootsAreSeparate) {
    ASSERT_EQ(this->Reg().WriteString(RegistryRoot::kCurrentUser, L"Software\\Nexilo", L"v", L"u"),
              kErrorSuccess);
    EXPECT_EQ(this->Reg().OpenKey(kMachine, L"Software\\Nexilo", kKeyRead).error,
              kErrorFileNotFound);
    EXPECT_EQ(this->Reg().ReadString(RegistryRoot::kCurrentUser, L"Software\\Nexilo", L"v").value,
              L"u");
}

TEST(RegistryTextTest, ConvertsBetweenTextAndRegistryBytes) {
    std::vector<std::byte> bytes = RegistryBytesFromText(L"ab");
    ASSERT_EQ(bytes.size(), 6u);
    EXPECT_EQ(bytes[0], std::byte{'a'});
    EXPECT_EQ(bytes[1], std::byte{0});
    EXPECT_EQ(bytes[4], std::byte{0});
    EXPECT_EQ(TextFromRegistryBytes(bytes.data(), bytes.size()), L"ab");
    // Up to the first NUL; an odd last byte does not count.
    const unsigned char raw[] = {'x', 0, 0, 0, 'y', 0};
    EXPECT_EQ(TextFromRegistryBytes(raw, sizeof(raw)), L"x");
    EXPECT_EQ(TextFromRegistryBytes(raw, 3), L"x");
    EXPECT_EQ(TextFromRegistryBytes(nullptr, 0), L"");
}

} // namespace
} // namespace platform
