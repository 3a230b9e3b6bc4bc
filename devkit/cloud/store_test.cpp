#include "devkit/cloud/store.h"

#include "devkit/cloud/testing/seeded_store.h"
#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace devkit::cloud;
using testing::HasSubstr;

TEST(StoreTest, KeepsAccountsDevicesAndTheTimelineAcrossReopening) {
    platform_testing::TempDir dir;
    const auto path = dir.Path() / "store.db";
    std::string error;
    std::int64_t now = 1000;
    {
        auto store = Store::Open(
            path, [&] { return now; }, error);
        ASSERT_NE(store, nullptr) << error;
        ASSERT_TRUE(store->Seed(devkit_testing::kSeed, error)) << error;
        EXPECT_EQ(store->Record("ping", "first", "{}"), 1);
        now = 2000;
        EXPECT_EQ(store->Record("event", "second", R"({"x":1})"), 2);
    }
    auto store = Store::Open(
        path, [] { return 0; }, error);
    ASSERT_NE(store, nullptr) << error;
    EXPECT_EQ(store->FindAccount("T1")->fingerprint, "fp-1");
    EXPECT_EQ(store->FindAccount("T2")->firstname, "") << "absent fields are empty";
    EXPECT_EQ(store->FindDevice("D1")->userToken, "T1");
    EXPECT_FALSE(store->FindAccount("D1"));

    const auto entries = store->Entries(0, 10);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[1].timeMs, 2000);
    EXPECT_EQ(entries[1].detail, R"({"x":1})");
    EXPECT_EQ(store->Entries(1, 10).size(), 1u) << "after a seq";
    EXPECT_EQ(store->Entries(0, 1).at(0).subject, "first") << "oldest first, limited";
}

TEST(StoreTest, SeedReplacesByKeyAndABadSeedStoresNothing) {
    auto store = devkit_testing::SeededStore();
    std::string error;
    ASSERT_TRUE(
        store->Seed(R"({"accounts": [{"user_token": "T1", "email": "new@example.com"}]})", error));
    EXPECT_EQ(store->FindAccount("T1")->email, "new@example.com");

    const std::pair<const char*, const char*> bad[] = {
        {"[]", "array \"accounts\""},
        {R"({"accounts": [{"user_token": "T3"}, {"email": "x"}]})", "accounts[1] needs"},
        {R"({"accounts": [{"user_token": "T3", "devices": {}}]})", "accounts[0].devices must"},
        {R"({"accounts": [{"user_token": "T3", "devices": [{"device_id": ""}]}]})",
         "accounts[0].devices[0] needs"},
    };
    for (const auto& [seed, message] : bad) {
        error.clear();
        EXPECT_FALSE(store->Seed(seed, error)) << seed;
        EXPECT_THAT(error, HasSubstr(message)) << seed;
        EXPECT_FALSE(store->FindAccount("T3")) << seed;
    }
}

TEST(StoreTest, AFileThatIsNoStoreIsRefusedWithItsName) {
    platform_testing::TempDir dir;
    const auto path = dir.Path() / "garbage.db";
    platform_testing::WriteFile(path, std::string(4096, 'x'));
    std::string error;
    EXPECT_EQ(Store::Open(path, SystemClock(), error), nullptr);
    EXPECT_THAT(error, HasSubstr("cannot use the store " + path.string()));

    error.clear();
    EXPECT_EQ(Store::Open(dir.Path(), SystemClock(), error), nullptr) << "a folder";
    EXPECT_THAT(error, HasSubstr(dir.Path().string()));
}

} // namespace
