#include "diag/shared_instance.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace diag {
namespace {

std::atomic<int> g_made{0};
std::atomic<int> g_destroyed{0};

struct Probe {
    Probe() { ++g_made; }
    ~Probe() { ++g_destroyed; }
};

constinit SharedInstanceHolder<Probe> g_holder;
using ProbeRef = SharedRef<Probe, g_holder>;

class SharedInstanceTest : public ::testing::Test {
protected:
    void SetUp() override { g_made = g_destroyed = 0; }
    void TearDown() override {
        EXPECT_EQ(g_holder.Holders(), 0);
        EXPECT_EQ(g_holder.Instance(), nullptr);
    }
};

TEST_F(SharedInstanceTest, MadeOnTheFirstReferenceAndDestroyedOnTheLast) {
    ProbeRef first;
    ProbeRef second;
    Probe* instance = first.Acquire();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(first.Acquire(), instance);
    EXPECT_EQ(second.Acquire(), instance);
    EXPECT_EQ(g_holder.Count(), 3);
    first.Release(); // gives back both of its references
    EXPECT_EQ(first.References(), 0);
    EXPECT_EQ(first.get(), nullptr);
    EXPECT_EQ(g_destroyed, 0);
    second.Release();
    second.Release();
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(g_destroyed, 1);
    ProbeRef().Acquire();
    EXPECT_EQ(g_destroyed, 2) << "a handle's destructor releases";
}

TEST_F(SharedInstanceTest, TheSecondCountHoldsTheInstanceUntilADropClearsIt) {
    ProbeRef handle;
    Probe* instance = handle.Acquire();
    g_holder.SetSecondCountForTesting(1);
    handle.Release();
    EXPECT_EQ(g_holder.Holders(), 1);
    EXPECT_EQ(handle.Acquire(), instance) << "a new reference reuses the instance";
    handle.Release();
    g_holder.DropReference(); // no references left: clears the second count, which destroys
    EXPECT_EQ(g_holder.SecondCount(), 0);
    EXPECT_EQ(g_destroyed, 1);
}

TEST_F(SharedInstanceTest, ConcurrentHoldersAgreeOnOneInstance) {
    ProbeRef keeper;
    Probe* kept = keeper.Acquire();
    std::atomic<bool> sameInstance{true};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                if (ProbeRef().Acquire() != kept) {
                    sameInstance = false;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(sameInstance);
    EXPECT_EQ(g_holder.Count(), 1);
    keeper.Release();
    EXPECT_EQ(g_made, 1);
}

} // namespace
} // namespace diag
