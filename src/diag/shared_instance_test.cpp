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
    void SetUp() override {
        g_made = 0;
        g_destroyed = 0;
    }
    void TearDown() override {
        EXPECT_EQ(g_holder.Holders(), 0);
        EXPECT_EQ(g_holder.Instance(), nullptr);
    }
};

TEST_F(SharedInstanceTest, MadeOnFirstReferenceAndDestroyedOnLast) {
    ProbeRef first;
    ProbeRef second;
    Probe* instance = first.Acquire();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(second.Acquire(), instance);
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(g_holder.Count(), 2);
    first.Release();
    EXPECT_EQ(first.get(), nullptr);
    EXPECT_EQ(g_destroyed, 0);
    second.Release();
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(g_holder.Count(), 0);
}

TEST_F(SharedInstanceTest, AHandleGivesBackEveryReferenceItTook) {
    {
        ProbeRef handle;
        handle.Acquire();
        handle.Acquire();
        EXPECT_EQ(handle.References(), 2);
        EXPECT_EQ(g_holder.Count(), 2);
        handle.Release();
        EXPECT_EQ(handle.References(), 0);
        EXPECT_EQ(g_holder.Count(), 0);
        EXPECT_EQ(g_destroyed, 1);
        handle.Release();
        EXPECT_EQ(handle.References(), 0);
        handle.Acquire();
    }
    EXPECT_EQ(g_made, 2);
    EXPECT_EQ(g_destroyed, 2) << "the destructor releases";
}

TEST_F(SharedInstanceTest, TheSecondCountHoldsTheInstanceUntilADropClearsIt) {
    ProbeRef handle;
    Probe* instance = handle.Acquire();
    g_holder.SetSecondCountForTesting(1);
    handle.Release();
    EXPECT_EQ(g_holder.Count(), 0);
    EXPECT_EQ(g_holder.Holders(), 1);
    EXPECT_EQ(g_holder.Instance(), instance);

    // A new reference while the second count holds reuses the instance.
    EXPECT_EQ(handle.Acquire(), instance);
    handle.Release();
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(g_destroyed, 0);

    // A drop with no references left clears the second count, and that destroys.
    g_holder.DropReference();
    EXPECT_EQ(g_holder.SecondCount(), 0);
    EXPECT_EQ(g_destroyed, 1);
}

TEST_F(SharedInstanceTest, ALeftoverInstanceIsReplacedByTheNextFirstReference) {
    ProbeRef handle;
    handle.Acquire();
    g_holder.SetSecondCountForTesting(1);
    handle.Release();
    g_holder.SetSecondCountForTesting(0); // both counts 0, the instance left behind
    EXPECT_EQ(g_holder.Holders(), 0);
    EXPECT_NE(g_holder.Instance(), nullptr);
    handle.Acquire();
    EXPECT_EQ(g_made, 2);
    EXPECT_EQ(g_destroyed, 1);
    handle.Release();
    EXPECT_EQ(g_destroyed, 2);
}

TEST_F(SharedInstanceTest, ConcurrentHoldersAgreeOnOneInstanceAtATime) {
    ProbeRef keeper;
    Probe* kept = keeper.Acquire();
    std::atomic<bool> sameInstance{true};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                ProbeRef handle;
                if (handle.Acquire() != kept) {
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
    EXPECT_EQ(g_destroyed, 1);
}

} // namespace
} // namespace diag
