#include "folly/Executor.h"
#include "folly/futures/Future.h"
#include "tests/support/TestExecutors.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

using folly::Executor;
using TestSupport::ManualExecutor;
using TestSupport::ThreadExecutor;

namespace {

// Implements nothing but add(): its tokens must be uncounted, or destroying one would reach the
// base keepAliveRelease(), which aborts.
class BareExecutor final : public Executor {
public:
    void add(folly::Func func) override { func(); }
};

} // namespace

static_assert(std::is_copy_constructible<Executor::KeepAlive<>>::value, "tokens copy");
static_assert(std::is_nothrow_move_constructible<Executor::KeepAlive<>>::value, "tokens move");
static_assert(std::is_convertible<Executor::KeepAlive<ManualExecutor>, Executor::KeepAlive<>>::value,
              "tokens convert to a base executor type");
static_assert(!std::is_convertible<Executor::KeepAlive<>, Executor::KeepAlive<ManualExecutor>>::value,
              "...but not the other way");
static_assert(std::is_convertible<ManualExecutor*, Executor::KeepAlive<>>::value, "raw pointers convert");

TEST(ExecutorTest, DefaultKeepAliveIsNull) {
    Executor::KeepAlive<> ka;
    EXPECT_FALSE(ka);
    EXPECT_EQ(ka.get(), nullptr);
    EXPECT_FALSE(ka.copy());
    EXPECT_FALSE(Executor::getKeepAliveToken(static_cast<Executor*>(nullptr)));
}

TEST(ExecutorTest, UncountedTokensNeverReachTheExecutor) {
    BareExecutor executor;
    {
        auto ka = folly::getKeepAliveToken(executor);
        EXPECT_TRUE(ka);
        EXPECT_EQ(ka.get(), &executor);
        auto copy = ka;
        Executor::KeepAlive<> base = std::move(copy);
        EXPECT_EQ(base.get(), &executor);
        EXPECT_FALSE(copy);
    }
    // Reaching here means no token called the aborting base keepAliveRelease().
    SUCCEED();
}

TEST(ExecutorTest, NonCountingManualExecutorHandsOutUncountedTokens) {
    ManualExecutor executor;
    auto ka = Executor::getKeepAliveToken(&executor);
    auto copy = ka.copy();
    EXPECT_EQ(executor.keepAliveCount(), 0);
    EXPECT_EQ(copy.get(), &executor);
}

TEST(ExecutorTest, CountedTokensAcquireAndRelease) {
    ManualExecutor executor(/*countKeepAlives=*/true);
    {
        auto ka = folly::getKeepAliveToken(&executor);
        static_assert(std::is_same<decltype(ka), Executor::KeepAlive<ManualExecutor>>::value, "typed token");
        EXPECT_EQ(executor.keepAliveCount(), 1);

        auto copied = ka;
        EXPECT_EQ(executor.keepAliveCount(), 2);

        auto moved = std::move(copied);
        EXPECT_EQ(executor.keepAliveCount(), 2) << "moving does not acquire";
        EXPECT_FALSE(copied);

        Executor::KeepAlive<> converted = std::move(moved);
        EXPECT_EQ(executor.keepAliveCount(), 2) << "converting a moved token does not acquire";

        auto another = folly::getKeepAliveToken(ka);
        EXPECT_EQ(executor.keepAliveCount(), 3);

        another.reset();
        EXPECT_FALSE(another);
        EXPECT_EQ(executor.keepAliveCount(), 2);

        converted = ka; // copy-assign over a counted token: one release, one acquire
        EXPECT_EQ(executor.keepAliveCount(), 2);
    }
    EXPECT_EQ(executor.keepAliveCount(), 0);
}

TEST(ExecutorTest, ImplicitConversionFromAPointerAcquires) {
    ManualExecutor executor(/*countKeepAlives=*/true);
    {
        Executor::KeepAlive<> ka = &executor;
        EXPECT_EQ(ka.get(), &executor);
        EXPECT_EQ(executor.keepAliveCount(), 1);
    }
    EXPECT_EQ(executor.keepAliveCount(), 0);
}

TEST(ExecutorTest, FuturesHoldTokensOnlyWhileTheyNeedTheExecutor) {
    ManualExecutor executor(/*countKeepAlives=*/true);
    {
        folly::Promise<int> promise;
        auto future = promise.getFuture().via(&executor).thenValue([](int v) { return v + 1; });
        EXPECT_GT(executor.keepAliveCount(), 0);
        promise.setValue(1);
        executor.drain();
        EXPECT_EQ(future.value(), 2);
    }
    EXPECT_EQ(executor.keepAliveCount(), 0) << "every token taken by the futures was released";
}

TEST(ExecutorTest, ManualExecutorRunsOnlyWhenAsked) {
    ManualExecutor executor;
    std::vector<int> order;
    executor.add([&] { order.push_back(1); });
    executor.add([&] {
        order.push_back(2);
        executor.add([&] { order.push_back(3); });
    });
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(executor.pending(), 2u);

    EXPECT_EQ(executor.run(), 2u) << "run() leaves work queued meanwhile for later";
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(executor.pending(), 1u);

    EXPECT_EQ(executor.drain(), 1u);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    EXPECT_FALSE(executor.runOne());
    EXPECT_EQ(executor.added(), 3u);
    EXPECT_EQ(executor.executed(), 3u);
}

TEST(ExecutorTest, ManualExecutorDropsPendingWorkOnDestruction) {
    auto tracker = std::make_shared<int>(0);
    bool ran = false;
    {
        ManualExecutor executor;
        executor.add([tracker, &ran] { ran = true; });
        EXPECT_EQ(tracker.use_count(), 2);
    }
    EXPECT_FALSE(ran);
    EXPECT_EQ(tracker.use_count(), 1) << "the dropped function was destroyed";
}

TEST(ExecutorTest, ManualExecutorAcceptsWorkFromOtherThreads) {
    ManualExecutor executor;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 250; ++i) {
                executor.add([] {});
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(executor.drain(), 1000u);
}

TEST(ExecutorTest, ThreadExecutorRunsInOrderOnItsWorker) {
    ThreadExecutor executor;
    std::mutex mutex;
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    for (int i = 0; i < 50; ++i) {
        executor.add([&, i] {
            std::lock_guard<std::mutex> lock(mutex);
            order.push_back(i);
            threads.push_back(std::this_thread::get_id());
        });
    }
    executor.waitUntilIdle();
    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
        EXPECT_EQ(threads[static_cast<std::size_t>(i)], executor.workerId());
    }
    EXPECT_NE(executor.workerId(), std::this_thread::get_id());
    EXPECT_FALSE(executor.isWorkerThread());
    EXPECT_EQ(executor.executed(), 50u);
}

TEST(ExecutorTest, ThreadExecutorFinishesQueuedWorkBeforeJoining) {
    std::atomic<int> count{0};
    {
        ThreadExecutor executor;
        for (int i = 0; i < 100; ++i) {
            executor.add([&] { ++count; });
        }
    }
    EXPECT_EQ(count.load(), 100);
}
