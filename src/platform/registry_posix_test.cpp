// What only the file-backed registry has: its files, damaged stores and its default folder.
#include "platform/registry.h"

#include "platform/environment.h"
#include "platform/registry_sandbox.h"
#include "platform/testing/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>

namespace platform {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr RegistryRoot kMachine = RegistryRoot::kLocalMachine;

using platform_testing::ReadFile;
using platform_testing::WriteFile;

class FileRegistryTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_sandbox.Error(), kErrorSuccess); }

    std::filesystem::path File(const char* name) const { return m_sandbox.Folder() / name; }
    Registry& Reg() { return m_sandbox.Get(); }

    RegistrySandbox m_sandbox;
};

TEST_F(FileRegistryTest, WritesLeaveNoTemporaryFilesAndClearACrashedWritersOnes) {
    ASSERT_EQ(Reg().WriteDword(kMachine, L"K", L"v", 1), kErrorSuccess);
    WriteFile(File("HKEY_LOCAL_MACHINE.reg.tmp-99999-0"), "half a write");
    ASSERT_EQ(Reg().WriteDword(kMachine, L"K", L"v", 2), kErrorSuccess);
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_sandbox.Folder())) {
        names.insert(entry.path().filename().string());
    }
    EXPECT_EQ(names, (std::set<std::string>{"HKEY_LOCAL_MACHINE.lock", "HKEY_LOCAL_MACHINE.reg"}));
    EXPECT_EQ(Reg().ReadDword(kMachine, L"K", L"v").value, 2u);
}

TEST_F(FileRegistryTest, ReadsAroundDamagedLinesAndKeepsTheOriginalOnTheNextWrite) {
    const std::string damaged = "nexilo-registry 1\n"
                                "V\tSOFTWARE\\Corvane\tFingerprint\tsz\tfp-1\n"
                                "V\tSOFTWARE\\Corvane\tbroken\tdword\tnot a number\n"
                                "\x01\x02 noise\n"
                                "K\tSOFTWARE\\Empty\n"
                                "V\tSOFTWARE\\Corvane\tcut\tsz\tshort";
    WriteFile(File("HKEY_LOCAL_MACHINE.reg"), damaged);
    EXPECT_EQ(Reg().ReadString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint").value, L"fp-1");
    EXPECT_EQ(Reg().ReadDword(kMachine, L"SOFTWARE\\Corvane", L"broken").error, kErrorFileNotFound);
    EXPECT_EQ(Reg().ReadString(kMachine, L"SOFTWARE\\Corvane", L"cut").error, kErrorFileNotFound);
    EXPECT_EQ(Reg().OpenKey(kMachine, L"SOFTWARE\\Empty", kKeyRead).error, kErrorSuccess);
    EXPECT_EQ(ReadFile(File("HKEY_LOCAL_MACHINE.reg")), damaged) << "reading changes nothing";

    ASSERT_EQ(Reg().WriteString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint", L"fp-2"),
              kErrorSuccess);
    EXPECT_EQ(ReadFile(File("HKEY_LOCAL_MACHINE.reg.corrupt")), damaged);
    std::string rewritten = ReadFile(File("HKEY_LOCAL_MACHINE.reg"));
    EXPECT_THAT(rewritten, Not(HasSubstr("noise")));
    EXPECT_THAT(rewritten, HasSubstr("K\tSOFTWARE\\Empty\n"));

    // A second damage later does not overwrite the first backup.
    WriteFile(File("HKEY_LOCAL_MACHINE.reg"), rewritten + "garbage\n");
    ASSERT_EQ(Reg().WriteDword(kMachine, L"SOFTWARE\\Corvane", L"v", 1), kErrorSuccess);
    EXPECT_EQ(ReadFile(File("HKEY_LOCAL_MACHINE.reg.corrupt")), damaged);
    EXPECT_EQ(ReadFile(File("HKEY_LOCAL_MACHINE.reg.corrupt-2")), rewritten + "garbage\n");
}

TEST_F(FileRegistryTest, NeverOverwritesAFileThatIsNotAStore) {
    const std::string foreign = "[HKEY_LOCAL_MACHINE\\SOFTWARE]\n\"x\"=dword:1\n";
    WriteFile(File("HKEY_LOCAL_MACHINE.reg"), foreign);
    EXPECT_EQ(Reg().OpenKey(kMachine, L"", kKeyRead).error, kErrorRegistryCorrupt);
    EXPECT_EQ(Reg().WriteDword(kMachine, L"SOFTWARE", L"x", 2), kErrorRegistryCorrupt);
    EXPECT_EQ(ReadFile(File("HKEY_LOCAL_MACHINE.reg")), foreign);
    EXPECT_EQ(Reg().WriteDword(RegistryRoot::kCurrentUser, L"SOFTWARE", L"x", 2), kErrorSuccess)
        << "the other root is unaffected";
}

TEST_F(FileRegistryTest, FileSystemErrorsBecomeWindowsNumbers) {
    std::filesystem::create_directories(File("folder") / "HKEY_LOCAL_MACHINE.reg");
    WriteFile(File("regular"), "a file where a folder should be");
    const struct {
        const char* what;
        std::filesystem::path folder;
        ErrorCode read;  // opening the key "K"
        ErrorCode write; // writing a value under it
    } cases[] = {
        {"a folder where the store file should be", File("folder"), kErrorAccessDenied,
         kErrorAccessDenied},
        {"a folder not made yet", File("not") / "yet", kErrorFileNotFound, kErrorSuccess},
        {"a path through a regular file", File("regular") / "sub", kErrorPathNotFound,
         kErrorPathNotFound},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto registry = MakeFileRegistry(c.folder);
        EXPECT_EQ(registry->OpenKey(kMachine, L"K", kKeyRead).error, c.read);
        EXPECT_EQ(registry->WriteDword(kMachine, L"K", L"v", 1), c.write);
    }
}

TEST_F(FileRegistryTest, ReadingNeverCreatesTheFolder) {
    const std::filesystem::path missing = File("not") / "yet";
    auto unborn = MakeFileRegistry(missing);
    EXPECT_EQ(unborn->OpenKey(kMachine, L"", kKeyRead).error, kErrorSuccess) << "an empty root";
    EXPECT_EQ(unborn->ReadDword(kMachine, L"", L"v").error, kErrorFileNotFound);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(FileRegistryTest, NamesFoldBeyondAscii) {
    ASSERT_EQ(Reg().WriteString(kMachine, L"Caf\u00e9", L"\u00c9t\u00e9", L"summer"),
              kErrorSuccess);
    EXPECT_EQ(Reg().ReadString(kMachine, L"CAF\u00c9", L"\u00e9T\u00c9").value, L"summer");
}

TEST(DefaultRegistryFolderTest, FollowsTheEnvironment) {
    struct Case {
        const wchar_t* root;
        const wchar_t* state;
        const char* folder;
    };
    const Case cases[] = {
        {L"/tmp/own-root", L"/state", "/tmp/own-root"},
        {nullptr, L"/state", "/state/nexilo/registry"},
        {nullptr, L"relative/state", "/home/someone/.local/state/nexilo/registry"},
    };
    const wchar_t* names[] = {L"HOME", L"NEXILO_REGISTRY_ROOT", L"XDG_STATE_HOME"};
    std::optional<std::wstring> saved[3];
    for (int i = 0; i < 3; ++i) {
        saved[i] = ReadEnvironmentVariable(names[i]);
    }
    ASSERT_TRUE(WriteEnvironmentVariable(L"HOME", L"/home/someone"));
    for (const Case& c : cases) {
        ASSERT_TRUE(WriteEnvironmentVariable(L"NEXILO_REGISTRY_ROOT", c.root));
        ASSERT_TRUE(WriteEnvironmentVariable(L"XDG_STATE_HOME", c.state));
        EXPECT_EQ(DefaultRegistryFolder(), std::filesystem::path(c.folder));
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(WriteEnvironmentVariable(names[i], saved[i] ? saved[i]->c_str() : nullptr));
    }
}

} // namespace
} // namespace platform
