#include "platform/registry.h"

#include "platform/registry_sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

namespace platform {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr RegistryRoot kMachine = RegistryRoot::kLocalMachine;

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::set<std::string> FileNames(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

class FileRegistryTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_sandbox.Error(), kErrorSuccess); }

    std::filesystem::path Store() const { return m_sandbox.Folder() / "HKEY_LOCAL_MACHINE.reg"; }

    RegistrySandbox m_sandbox;
};

TEST_F(FileRegistryTest, KeepsStringsAsUtf8TextInTheStore) {
    Registry& registry = m_sandbox.Get();
    ASSERT_EQ(
        registry.WriteString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint", L"Gr\u00FC\u00DFe"),
        kErrorSuccess);
    ASSERT_EQ(registry.WriteDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install", 7),
              kErrorSuccess);
    std::string text = ReadFile(Store());
    EXPECT_THAT(text, HasSubstr("V\tSOFTWARE\\Corvane\tFingerprint\tsz\tGr\xC3\xBC\xC3\x9F"
                                "e\n"));
    EXPECT_THAT(text, HasSubstr("V\tSOFTWARE\\Corvane\tbp_product_install\tdword\t7\n"));
}

TEST_F(FileRegistryTest, WritesLeaveNoTemporaryFilesAndClearACrashedWritersOnes) {
    ASSERT_EQ(m_sandbox.Get().WriteDword(kMachine, L"K", L"v", 1), kErrorSuccess);
    WriteFile(m_sandbox.Folder() / "HKEY_LOCAL_MACHINE.reg.tmp-99999-0", "half a write");
    ASSERT_EQ(m_sandbox.Get().WriteDword(kMachine, L"K", L"v", 2), kErrorSuccess);
    EXPECT_EQ(FileNames(m_sandbox.Folder()),
              (std::set<std::string>{"HKEY_LOCAL_MACHINE.lock", "HKEY_LOCAL_MACHINE.reg"}));
    EXPECT_EQ(m_sandbox.Get().ReadDword(kMachine, L"K", L"v").value, 2u);
}

TEST_F(FileRegistryTest, ReadsAroundDamagedLinesAndKeepsTheOriginalOnTheNextWrite) {
    const std::string damaged = "nexilo-registry 1\n"
                                "V\tSOFTWARE\\Corvane\tFingerprint\tsz\tfp-1\n"
                                "V\tSOFTWARE\\Corvane\tbroken\tdword\tnot a number\n"
                                "\x01\x02 noise\n"
                                "K\tSOFTWARE\\Empty\n"
                                "V\tSOFTWARE\\Corvane\tbp_product_install\tdword\t0\n"
                                "V\tSOFTWARE\\Corvane\tcut\tsz\tshort";
    std::filesystem::create_directories(m_sandbox.Folder());
    WriteFile(Store(), damaged);

    Registry& registry = m_sandbox.Get();
    EXPECT_EQ(registry.ReadString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint").value, L"fp-1");
    EXPECT_EQ(registry.ReadDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install").error,
              kErrorSuccess);
    EXPECT_EQ(registry.ReadDword(kMachine, L"SOFTWARE\\Corvane", L"broken").error,
              kErrorFileNotFound);
    EXPECT_EQ(registry.ReadString(kMachine, L"SOFTWARE\\Corvane", L"cut").error,
              kErrorFileNotFound);
    EXPECT_EQ(registry.OpenKey(kMachine, L"SOFTWARE\\Empty", kKeyRead).error, kErrorSuccess);
    // Reading changes nothing on disk.
    EXPECT_EQ(ReadFile(Store()), damaged);

    ASSERT_EQ(registry.WriteString(kMachine, L"SOFTWARE\\Corvane", L"Fingerprint", L"fp-2"),
              kErrorSuccess);
    EXPECT_EQ(ReadFile(m_sandbox.Folder() / "HKEY_LOCAL_MACHINE.reg.corrupt"), damaged);
    std::string rewritten = ReadFile(Store());
    EXPECT_THAT(rewritten, Not(HasSubstr("noise")));
    EXPECT_THAT(rewritten, HasSubstr("K\tSOFTWARE\\Empty\n"));
    EXPECT_EQ(registry.ReadDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install").error,
              kErrorSuccess);

    // A second damage later does not overwrite the first backup.
    WriteFile(Store(), rewritten + "garbage\n");
    ASSERT_EQ(registry.WriteDword(kMachine, L"SOFTWARE\\Corvane", L"bp_product_install", 1),
              kErrorSuccess);
    EXPECT_EQ(ReadFile(m_sandbox.Folder() / "HKEY_LOCAL_MACHINE.reg.corrupt"), damaged);
    EXPECT_EQ(ReadFile(m_sandbox.Folder() / "HKEY_LOCAL_MACHINE.reg.corrupt-2"),
              rewritten + "garbage\n");
}

TEST_F(FileRegistryTest, NeverOverwritesAFileThatIsNotAStore) {
    const std::string foreign = "[HKEY_LOCAL_MACHINE\\SOFTWARE]\n\"x\"=dword:1\n";
    std::filesystem::create_directories(m_sandbox.Folder());
    WriteFile(Store(), foreign);
    Registry& registry = m_sandbox.Get();
    EXPECT_EQ(registry.OpenKey(kMachine, L"", kKeyRead).error, kErrorRegistryCorrupt);
    EXPECT_EQ(registry.CreateKey(kMachine, L"SOFTWARE", kKeyRead).error, kErrorRegistryCorrupt);
    EXPECT_EQ(registry.WriteDword(kMachine, L"SOFTWARE", L"x", 2), kErrorRegistryCorrupt);
    EXPECT_EQ(ReadFile(Store()), foreign);
    // The other root is unaffected.
    EXPECT_EQ(registry.WriteDword(RegistryRoot::kCurrentUser, L"SOFTWARE", L"x", 2), kErrorSuccess);
}

TEST_F(FileRegistryTest, FileSystemErrorsBecomeWindowsNumbers) {
    std::filesystem::create_directories(Store());
    EXPECT_EQ(m_sandbox.Get().OpenKey(kMachine, L"", kKeyRead).error, kErrorAccessDenied);
    EXPECT_EQ(m_sandbox.Get().WriteDword(kMachine, L"K", L"v", 1), kErrorAccessDenied);

    std::filesystem::path missing = m_sandbox.Folder() / "not" / "yet";
    auto unborn = MakeFileRegistry(missing);
    EXPECT_EQ(unborn->OpenKey(kMachine, L"K", kKeyRead).error, kErrorFileNotFound);
    EXPECT_EQ(unborn->OpenKey(kMachine, L"", kKeyRead).error, kErrorSuccess);
    EXPECT_FALSE(std::filesystem::exists(missing)) << "reading must not create the folder";
}

TEST_F(FileRegistryTest, ConcurrentWritersLoseNothing) {
    constexpr int kWriters = 4;
    constexpr int kEach = 25;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([this, writer] {
            // Each thread has its own instance, as separate processes would.
            auto registry = MakeFileRegistry(m_sandbox.Folder());
            for (int i = 0; i < kEach; ++i) {
                std::wstring name = L"w" + std::to_wstring(writer) + L"-" + std::to_wstring(i);
                EXPECT_EQ(registry->WriteDword(kMachine, L"Shared", name, i), kErrorSuccess);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    auto key = m_sandbox.Get().OpenKey(kMachine, L"Shared", kKeyRead);
    ASSERT_EQ(key.error, kErrorSuccess);
    EXPECT_EQ(key.key->ValueNames().names.size(), std::size_t{kWriters * kEach});
}

TEST_F(FileRegistryTest, ConcurrentProcessesLoseNothing) {
    constexpr int kProcesses = 3;
    constexpr int kEach = 20;
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            auto registry = MakeFileRegistry(m_sandbox.Folder());
            int failures = 0;
            for (int i = 0; i < kEach; ++i) {
                std::wstring name = L"p" + std::to_wstring(p) + L"-" + std::to_wstring(i);
                failures += registry->WriteDword(kMachine, L"Shared", name, i) != kErrorSuccess;
            }
            ::_exit(failures == 0 ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    auto key = m_sandbox.Get().OpenKey(kMachine, L"Shared", kKeyRead);
    ASSERT_EQ(key.error, kErrorSuccess);
    EXPECT_EQ(key.key->ValueNames().names.size(), std::size_t{kProcesses * kEach});
}

// Sets or clears an environment variable for one test and restores it afterwards.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~ScopedEnv() { m_old ? ::setenv(m_name, m_old->c_str(), 1) : ::unsetenv(m_name); }

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

TEST(DefaultRegistryFolderTest, FollowsTheEnvironment) {
    ScopedEnv home("HOME", "/home/someone");
    {
        ScopedEnv root("NEXILO_REGISTRY_ROOT", "/tmp/own-root");
        ScopedEnv state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(DefaultRegistryFolder(), std::filesystem::path("/tmp/own-root"));
    }
    ScopedEnv root("NEXILO_REGISTRY_ROOT", nullptr);
    {
        ScopedEnv state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(DefaultRegistryFolder(), std::filesystem::path("/state/nexilo/registry"));
    }
    ScopedEnv relative("XDG_STATE_HOME", "relative/state");
    EXPECT_EQ(DefaultRegistryFolder(),
              std::filesystem::path("/home/someone/.local/state/nexilo/registry"));
}

} // namespace
} // namespace platform
