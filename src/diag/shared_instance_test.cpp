#include "diag/shared_instance.h"

#include "diag/testing/shared_instance_peer.h"

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

// The object registry's and the log binding's tests see the counts one thread at a time; here
// holders race.
TEST_F(SharedInstanceTest, ConcurrentHoldersAgreeOnOneInstanceMadeOnceAndDestroyedOnce) {
    ProbeRef keeper;
    Probe* kept = keeper.Acquire();
    EXPECT_EQ(keeper.Acquire(), kept);
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
    EXPECT_EQ(g_holder.Count(), 2);
    keeper.Release(); // gives back both of its references
    EXPECT_EQ(keeper.References(), 0);
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(g_destroyed, 1);
}

TEST_F(SharedInstanceTest, TheSecondCountHoldsWithoutAnInstanceAndOneDropClearsIt) {
    diag_testing::SharedInstancePeer::SetSecondCount(g_holder, 2);
    EXPECT_EQ(g_holder.Holders(), 2);
    EXPECT_EQ(g_holder.AddReference(), nullptr) << "held, so nothing is made";
    EXPECT_EQ(g_holder.Holders(), 3);
    g_holder.DropReference(); // its own count first
    EXPECT_EQ(g_holder.SecondCount(), 2);
    g_holder.DropReference(); // then the whole second count at once
    EXPECT_EQ(g_holder.Holders(), 0);
    EXPECT_EQ(g_made, 0);
}

} // namespace
} // namespace diag
