#include "platform/cobalt/Flags.hpp"
#include "platform/cobalt/ArrayMap.hpp"
#include "platform/cobalt/Mutex.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

enum class Option : unsigned { A = 1, B = 2, C = 4, AB = 3 };
using Options = Cobalt::FlagsT<Option>;

static_assert(Options().bits() == 0, "a default set is empty");
static_assert(Options(Option::C).bits() == 4, "a flag sets its bits");
static_assert((Options(Option::A) | Options(Option::C)).bits() == 5, "usable in constant expressions");

// True when another thread can take the mutex right now.
bool freeForAnotherThread(Cobalt::Mutex& mutex) {
    bool taken = false;
    std::thread([&] {
        taken = mutex.try_lock();
        if (taken) {
            mutex.unlock();
        }
    }).join();
    return taken;
}

} // namespace

TEST(Flags, DefaultIsEmpty) {
    Options const none;
    EXPECT_EQ(none.bits(), 0u);
    EXPECT_FALSE(none.any());
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_FALSE(none.test(Option::A));
}

TEST(Flags, TestNeedsEveryBitOfTheFlag) {
    Options const a(Option::A);
    EXPECT_TRUE(a.test(Option::A));
    EXPECT_FALSE(a.test(Option::B));
    EXPECT_FALSE(a.test(Option::AB)) << "a mask is set only when all its bits are";
    Options const ab = Options(Option::A) | Option::B;
    EXPECT_TRUE(ab.test(Option::AB));
    EXPECT_EQ(ab, Options(Option::AB));
}

TEST(Flags, SetAndClearChangeOnlyTheirBits) {
    Options flags;
    flags.set(Option::A).set(Option::C);
    EXPECT_EQ(flags.bits(), 5u);
    flags.set(Option::A, false);
    EXPECT_EQ(flags.bits(), 4u);
    flags.set(Option::C, true);
    EXPECT_EQ(flags.bits(), 4u) << "setting a set bit changes nothing";
    flags.clear();
    EXPECT_FALSE(flags.any());
}

TEST(Flags, OperatorsWorkBitwise) {
    struct Row {
        unsigned left;
        unsigned right;
    } const rows[] = {{0, 0}, {1, 2}, {3, 2}, {7, 5}, {4, 0}};
    for (auto const& row : rows) {
        Options const left = Options::fromBits(row.left);
        Options const right = Options::fromBits(row.right);
        EXPECT_EQ((left | right).bits(), row.left | row.right);
        EXPECT_EQ((left & right).bits(), row.left & row.right);
        EXPECT_EQ((left ^ right).bits(), row.left ^ row.right);
        EXPECT_EQ((~left).bits(), ~row.left);
        Options combined = left;
        combined |= right;
        EXPECT_EQ(combined.bits(), row.left | row.right);
        combined = left;
        combined &= right;
        EXPECT_EQ(combined.bits(), row.left & row.right);
        combined = left;
        combined ^= right;
        EXPECT_EQ(combined.bits(), row.left ^ row.right);
        EXPECT_EQ(left == right, row.left == row.right);
        EXPECT_EQ(left != right, row.left != row.right);
    }
}

TEST(Flags, StorageTypeIsChosenByTheUser) {
    using Wide = Cobalt::FlagsT<Option, unsigned long long>;
    Wide const flags = Wide::fromBits(1ull << 40);
    EXPECT_TRUE(flags.any());
    EXPECT_EQ(flags.bits(), 1ull << 40);
}

TEST(Mutex, PlainMutexExcludesOtherThreads) {
    Cobalt::Mutex mutex;
    EXPECT_FALSE(mutex.isRecursive());
    EXPECT_TRUE(freeForAnotherThread(mutex));
    {
        std::lock_guard<Cobalt::Mutex> lock(mutex);
        EXPECT_FALSE(freeForAnotherThread(mutex)) << "a held mutex must exclude other threads";
    }
    EXPECT_TRUE(freeForAnotherThread(mutex)) << "unlocking must release it";
}

TEST(Mutex, RecursiveMutexMayBeTakenAgainByItsHolder) {
    Cobalt::Mutex mutex(true);
    EXPECT_TRUE(mutex.isRecursive());
    mutex.lock();
    EXPECT_TRUE(mutex.try_lock()) << "the holder of a recursive mutex may lock it again";
    mutex.unlock();
    EXPECT_FALSE(freeForAnotherThread(mutex)) << "one unlock of two leaves it held";
    mutex.unlock();
    EXPECT_TRUE(freeForAnotherThread(mutex));
}

TEST(Mutex, GuardsACounterAcrossThreads) {
    for (bool recursive : {false, true}) {
        Cobalt::Mutex mutex(recursive);
        long counter = 0;
        std::vector<std::thread> workers;
        for (int t = 0; t < 4; ++t) {
            workers.emplace_back([&] {
                for (int i = 0; i < 10000; ++i) {
                    std::lock_guard<Cobalt::Mutex> lock(mutex);
                    ++counter;
                }
            });
        }
        for (auto& worker : workers) {
            worker.join();
        }
        EXPECT_EQ(counter, 40000) << (recursive ? "recursive" : "plain");
    }
}

TEST(ArrayMap, KeepsEntriesSortedByKey) {
    Cobalt::ArrayMap<int, std::string> map;
    for (int key : {5, 1, 4, 2, 3}) {
        map.emplace(key, std::to_string(key));
    }
    std::vector<int> keys;
    for (auto const& entry : map) {
        keys.push_back(entry.first);
        EXPECT_EQ(entry.second, std::to_string(entry.first));
    }
    EXPECT_EQ(keys, (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(map.find(4)->second, "4");
    EXPECT_EQ(map.find(9), map.end());
}

TEST(ArrayMap, KeysAreUniqueAndTheComparatorDecidesTheOrder) {
    Cobalt::ArrayMap<int, int, std::greater<int>> map;
    map[1] = 10;
    map[3] = 30;
    map[2] = 20;
    map[3] = 31;
    ASSERT_EQ(map.size(), 3u);
    EXPECT_EQ(map.begin()->first, 3);
    EXPECT_EQ(map.begin()->second, 31) << "a second write to a key replaces the value";
    EXPECT_EQ(map.rbegin()->first, 1);
}
