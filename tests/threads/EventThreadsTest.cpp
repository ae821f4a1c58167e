// Basalt::Event across threads. This program is built with ThreadSanitizer: besides what the tests assert, a
// data race anywhere in what they run fails the program.

#include "attributes/Event.hpp"
#include "platform/basalt/Reference.hpp"
#include "tests/support/TestExecutors.hpp"

#include <gtest/gtest.h>

#include <QMutex>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#if defined(__SANITIZE_THREAD__)
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// QMutex locks and unlocks inside QtCore, which isn't built with ThreadSanitizer, so TSan can't see the
// ordering the event's mutex gives and would report every field it guards. These definitions take the place
// of QMutex::lock and unlock in this program's code, forward to QtCore's own, and tell TSan of the acquire
// and release they perform. They add no ordering of their own.
namespace {
using MutexFunction = void (*)(QMutex*);
MutexFunction qtCoreFunction(char const* symbol) {
    void* const found = dlsym(RTLD_NEXT, symbol);
    if (!found) {
        std::abort();
    }
    MutexFunction function = nullptr;
    std::memcpy(&function, &found, sizeof function);
    return function;
}
} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT {
    static MutexFunction const qtLock = qtCoreFunction("_ZN6QMutex4lockEv");
    qtLock(this);
    __tsan_acquire(this);
}

void QMutex::unlock() noexcept {
    static MutexFunction const qtUnlock = qtCoreFunction("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    qtUnlock(this);
}
#endif

using Basalt::Event;
using Basalt::EventFlag;

namespace {

/// Starts `count` threads that wait for one signal, so that their work overlaps as much as it can.
class StartingLine {
public:
    template <typename Work>
    void run(int count, Work work) {
        for (int t = 0; t < count; ++t) {
            m_threads.emplace_back([this, t, work] {
                while (!m_go.load()) {
                    std::this_thread::yield();
                }
                work(t);
            });
        }
        m_go = true;
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
        m_go = false;
    }

private:
    std::atomic<bool> m_go{false};
    std::vector<std::thread> m_threads;
};

constexpr int raisingThreads = 4;
constexpr int raisesPerThread = 500;

} // namespace

TEST(EventThreads, RaisesFromSeveralThreadsReachEveryListenerOnItsExecutor) {
    std::atomic<int> directCalls{0};
    std::atomic<std::int64_t> directSum{0};
    std::array<std::atomic<int>, 2> executorCalls{};
    std::array<std::atomic<std::int64_t>, 2> executorSums{};
    std::atomic<int> wrongThread{0};
    std::array<TestSupport::ThreadExecutor, 2> executors;
    Event<int> event;

    event.addListener([&](int value) {
        ++directCalls;
        directSum += value;
    });
    for (std::size_t e = 0; e < executors.size(); ++e) {
        event.addListener(&executors[e], [&, e](int value) {
            if (!executors[e].isWorkerThread()) {
                ++wrongThread;
            }
            ++executorCalls[e];
            executorSums[e] += value;
        });
    }

    StartingLine().run(raisingThreads, [&event](int t) {
        for (int i = 0; i < raisesPerThread; ++i) {
            event.raise(t * raisesPerThread + i);
        }
    });
    for (auto& executor : executors) {
        executor.waitUntilIdle();
    }

    constexpr int total = raisingThreads * raisesPerThread;
    constexpr std::int64_t expectedSum = std::int64_t(total) * (total - 1) / 2;
    EXPECT_EQ(directCalls.load(), total);
    EXPECT_EQ(directSum.load(), expectedSum);
    for (std::size_t e = 0; e < executors.size(); ++e) {
        EXPECT_EQ(executorCalls[e].load(), total) << "executor " << e;
        EXPECT_EQ(executorSums[e].load(), expectedSum) << "executor " << e << ": every raise's own argument";
    }
    EXPECT_EQ(wrongThread.load(), 0) << "a listener with an executor must run on that executor";
}

TEST(EventThreads, OneShotListenersRunOnceUnderConcurrentRaises) {
    constexpr int listenersPerKind = 8;
    std::array<std::atomic<int>, listenersPerKind> directCalls{};
    std::array<std::atomic<int>, listenersPerKind> executorCalls{};
    TestSupport::ThreadExecutor executor;
    Event<> event;
    for (int i = 0; i < listenersPerKind; ++i) {
        event.addListener([&directCalls, i] { ++directCalls[i]; }, EventFlag::ONE_SHOT);
        event.addListener(
            &executor, [&executorCalls, i] { ++executorCalls[i]; }, EventFlag::ONE_SHOT);
    }

    StartingLine().run(raisingThreads, [&event](int) {
        for (int i = 0; i < raisesPerThread; ++i) {
            event.raise();
        }
    });
    executor.waitUntilIdle();

    for (int i = 0; i < listenersPerKind; ++i) {
        EXPECT_EQ(directCalls[i].load(), 1) << "direct one-shot listener " << i;
        EXPECT_EQ(executorCalls[i].load(), 1) << "one-shot listener " << i << " on an executor";
    }
    EXPECT_EQ(event.listenerCount(), 0);
}

TEST(EventThreads, ListenersWhoseOwnersDieMidRaiseStopBeingCalled) {
    constexpr int ownedListeners = 8;
    std::atomic<int> calls{0};
    std::atomic<int> calledWithoutOwner{0};
    std::atomic<int> plainCalls{0};
    TestSupport::ThreadExecutor executor;
    Event<> event;

    std::vector<std::shared_ptr<int>> owners;
    for (int i = 0; i < ownedListeners; ++i) {
        owners.push_back(std::make_shared<int>(i));
        std::weak_ptr<int> const watched = owners.back();
        auto const listener = [&calls, &calledWithoutOwner, watched] {
            // While a listener runs, its owner must be alive: the raise (or the task) holds it.
            if (watched.expired()) {
                ++calledWithoutOwner;
            }
            ++calls;
        };
        if (i % 2 == 0) {
            event.addListener(std::weak_ptr<void>(owners.back()), listener);
        } else {
            event.addListener(&executor, std::weak_ptr<void>(owners.back()), listener);
        }
    }
    event.addListener([&plainCalls] { ++plainCalls; });

    std::atomic<bool> raising{true};
    StartingLine().run(raisingThreads + 1, [&](int t) {
        if (t == raisingThreads) {
            // The last thread lets the owners die one by one while the others raise.
            for (auto& owner : owners) {
                std::this_thread::yield();
                owner.reset();
            }
            raising = false;
            return;
        }
        while (raising.load()) {
            event.raise();
        }
    });
    executor.waitUntilIdle();

    int const callsAfterDeaths = calls.load();
    event.raise();
    executor.waitUntilIdle();
    EXPECT_EQ(calls.load(), callsAfterDeaths) << "no listener may be called once its owner is gone";
    EXPECT_EQ(calledWithoutOwner.load(), 0);
    EXPECT_EQ(event.listenerCount(), 1) << "only the listener without an owner is left";
    EXPECT_GT(plainCalls.load(), 0);
}

TEST(EventThreads, ListenersAddedAndRemovedWhileOtherThreadsRaise) {
    constexpr int added = 200;
    std::array<std::atomic<int>, added> calls{};
    std::vector<int> ids(added, 0);
    Event<> event;
    std::atomic<bool> raising{true};

    StartingLine().run(3, [&](int t) {
        if (t == 0) {
            for (int i = 0; i < added; ++i) {
                ids[i] = event.addListener([&calls, i] { ++calls[i]; });
                if (i % 2 == 1) {
                    EXPECT_TRUE(event.removeListener(ids[i - 1])) << "listener " << i - 1;
                }
            }
            raising = false;
            return;
        }
        while (raising.load()) {
            event.raise();
        }
    });

    EXPECT_EQ(event.listenerCount(), added / 2);
    std::array<int, added> before{};
    for (int i = 0; i < added; ++i) {
        before[i] = calls[i].load();
    }
    event.raise();
    for (int i = 0; i < added; ++i) {
        int const expected = before[i] + (i % 2 == 1 ? 1 : 0);
        EXPECT_EQ(calls[i].load(), expected) << "listener " << i;
    }
}

TEST(EventThreads, AReferenceGivesTheSameIdentityToEveryThread) {
    Basalt::Reference reference;
    std::array<std::weak_ptr<Basalt::Reference>, raisingThreads> seen;
    StartingLine().run(raisingThreads, [&](int t) {
        for (int i = 0; i < 100; ++i) {
            seen[t] = reference.weak();
        }
    });
    for (int t = 1; t < raisingThreads; ++t) {
        EXPECT_FALSE(seen[0].owner_before(seen[t]) || seen[t].owner_before(seen[0]))
            << "thread " << t << " got another identity";
    }
    EXPECT_EQ(seen[0].lock().get(), &reference);
}
