#include "platform/named_event.h"

#include "platform/build_config.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#if defined(NEXILO_OS_POSIX)
#include <sys/stat.h>
#endif

namespace {

using platform::kWaitSignalled;
using platform::kWaitTimedOut;

// A name of this test run alone, so that parallel runs never share an event.
class NamedEventTest : public testing::Test {
protected:
    NamedEventTest() {
        static std::atomic<int> counter{0};
        m_name = L"Global\\{9A0C1E52-7B3D-4F16-8E2A-C5D47B19E603}." +
                 std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count()) +
                 L"." + std::to_wstring(++counter);
    }
    ~NamedEventTest() override { platform::DiscardNamedEvent(m_name); }

    std::unique_ptr<platform::NamedEvent> Open() {
        platform::NamedEventResult opened = platform::SystemNamedEvents().CreateOrOpen(m_name);
        EXPECT_EQ(opened.failedAt, platform::NamedEventStage::kDone) << opened.error;
        return std::move(opened.event);
    }

    std::wstring m_name;
};

TEST_F(NamedEventTest, TwoOpensOfANameAreOneAutoResetEvent) {
    auto waiter = Open();
    auto setter = Open();
    ASSERT_TRUE(waiter && setter);
    EXPECT_EQ(waiter->Wait(0), kWaitTimedOut) << "created unset";

    ASSERT_TRUE(setter->Set());
    EXPECT_EQ(waiter->Wait(0), kWaitSignalled);
    EXPECT_EQ(waiter->Wait(0), kWaitTimedOut) << "a wake consumes the set";

    ASSERT_TRUE(setter->Set());
    ASSERT_TRUE(setter->Set());
    ASSERT_TRUE(waiter->Set());
    EXPECT_EQ(waiter->Wait(0), kWaitSignalled);
    EXPECT_EQ(waiter->Wait(0), kWaitTimedOut) << "sets before a wait collapse into one wake";
}

TEST_F(NamedEventTest, AWaitWithoutLimitEndsWithASetFromAnotherThreadAndATimedOneRunsOut) {
    auto waiter = Open();
    ASSERT_TRUE(waiter);
    EXPECT_EQ(waiter->Wait(20), kWaitTimedOut);

    std::atomic<std::uint32_t> result{platform::kWaitFailed};
    std::thread thread([&] { result = waiter->Wait(platform::kWaitInfinite); });
    Open()->Set();
    thread.join();
    EXPECT_EQ(result.load(), kWaitSignalled);
}

#if defined(NEXILO_OS_POSIX)
TEST_F(NamedEventTest, EveryUserMayUseTheObjectWhateverTheCreatorsUmask) {
    const mode_t old = umask(077);
    auto event = Open();
    umask(old);
    ASSERT_TRUE(event);
    const std::wstring guid = m_name.substr(m_name.find(L'{'));
    const auto file =
        std::filesystem::path("/dev/shm") / ("sem.nexilo." + std::string(guid.begin(), guid.end()));
    const auto permissions = std::filesystem::status(file).permissions();
    EXPECT_EQ(permissions & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                  std::filesystem::perms::group_read | std::filesystem::perms::group_write |
                  std::filesystem::perms::others_read | std::filesystem::perms::others_write);
}
#endif

} // namespace
